import json
import os
import shutil
import signal
import stat
import subprocess
import time
import unittest

from hoqtest import HOQ, HoqTest, environment

DAY = 24 * 60 * 60


class Cert(HoqTest):
    def authority(self):
        self.lines("cert", "ca", "--out", "ca")

    def openssl(self, *arguments):
        done = subprocess.run(["openssl", *arguments], cwd=self.dir, capture_output=True,
                              env=environment(), timeout=60)
        self.assertEqual(done.returncode, 0, done.stderr)
        return done.stdout.decode()

    def mode(self, name):
        return stat.S_IMODE(os.stat(self.path(name)).st_mode)

    def contents(self, name):
        with open(self.path(name), "rb") as stream:
            return stream.read()

    def test_an_authority_and_a_certificate_are_made(self):
        out = self.lines("cert", "ca", "--out", "ca")
        self.assertRegex(out[0], rf"^{self.dir}/ca/ca\.pem: an authority, until \d{{4}}-\d\d-\d\d$")
        self.assertEqual(sorted(os.listdir(self.path("ca"))), [b"ca.key", b"ca.pem"])
        out = self.lines("cert", "issue", "node-a", "--ca", "ca", "--out", "n", "--host",
                         "node-a.example", "--host", "127.0.0.1")
        self.assertRegex(out[0], r"node-a\.pem: for node-a, node-a\.example, 127\.0\.0\.1, until ")
        self.assertRegex(out[1], r"^SHA-256 [0-9a-f]{64}$")
        self.assertEqual(sorted(os.listdir(self.path("n"))), [b"node-a.key", b"node-a.pem"])
        for name, mode in (("ca/ca.key", 0o600), ("n/node-a.key", 0o600), ("ca/ca.pem", 0o644)):
            self.assertEqual(self.mode(name), mode, name)

    @unittest.skipUnless(shutil.which("openssl"), "the program openssl is not there")
    def test_others_find_the_certificates_in_order(self):
        self.authority()
        out = self.lines("cert", "issue", "node-a", "--ca", "ca", "--out", "ca", "--host", "::1")
        for purpose in ("sslserver", "sslclient"):
            self.assertEqual(self.openssl("verify", "-x509_strict", "-purpose", purpose, "-CAfile",
                                          "ca/ca.pem", "ca/node-a.pem"), "ca/node-a.pem: OK\n")
        text = self.openssl("x509", "-in", "ca/node-a.pem", "-noout", "-text")
        self.assertIn("DNS:node-a, IP Address:0:0:0:0:0:0:0:1", text)
        self.assertIn("prime256v1", text)
        fingerprint = self.openssl("x509", "-in", "ca/node-a.pem", "-noout", "-fingerprint",
                                   "-sha256")
        self.assertEqual(out[1].split()[1],
                         fingerprint.strip().partition("=")[2].replace(":", "").lower())

    def test_json_tells_what_was_made(self):
        self.authority()
        before = int(time.time())
        told = json.loads(self.lines("cert", "issue", "admin", "--ca", "ca", "--out", "c", "--days",
                                     "2", "--json")[0])
        after = int(time.time())
        self.assertEqual(told["certificate"], self.dir + "/c/admin.pem")
        self.assertEqual(told["key"], self.dir + "/c/admin.key")
        self.assertEqual(told["names"], ["admin"])
        self.assertTrue(before + 2 * DAY <= told["notAfter"] <= after + 2 * DAY)
        self.assertEqual(len(told["fingerprint"]), 64)

    def test_a_certificate_ends_with_its_authority(self):
        ca = json.loads(self.lines("cert", "ca", "--out", "ca", "--days", "3", "--json")[0])
        told = json.loads(self.lines("cert", "issue", "node", "--ca", "ca", "--out", "c", "--days",
                                     "100", "--json")[0])
        self.assertEqual(told["notAfter"], ca["notAfter"])

    def test_files_that_are_there_are_never_replaced(self):
        self.authority()
        kept = self.contents("ca/ca.key")
        self.assert_fails(self.hoq("cert", "ca", "--out", "ca"), 1,
                          f"{self.dir}/ca/ca.key: is there already and stays as it is")
        self.assertEqual(self.contents("ca/ca.key"), kept)
        self.make("out/", "out/node.pem=mine")
        self.assert_fails(self.hoq("cert", "issue", "node", "--ca", "ca", "--out", "out"), 1,
                          f"{self.dir}/out/node.pem: is there already and stays as it is")
        self.assertEqual(os.listdir(self.path("out")), [b"node.pem"])
        self.assertEqual(self.contents("out/node.pem"), b"mine")

    def test_paths_start_where_the_global_option_says(self):
        self.make("sub/")
        self.assertEqual(self.lines("-C", "sub", "cert", "ca", "--out", "ca", "-q"), [])
        self.assertTrue(self.exists("sub/ca/ca.pem"))

    def test_it_needs_neither_node_nor_plugin(self):
        env = environment(HOQ_NODE="nowhere:1", HOQ_PLUGIN="/nope")
        self.assertEqual(self.hoq("cert", "ca", "--out", "ca", env=env).status, 0)
        self.assertTrue(self.exists("ca/ca.pem"))

    def test_a_signal_leaves_both_files_or_neither(self):
        self.authority()
        for number in range(20):
            child = subprocess.Popen([HOQ, "cert", "issue", "node", "--ca", "ca", "--out",
                                      f"out{number}"], cwd=self.dir, env=environment(),
                                     stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
            while child.poll() is None and not self.exists(f"out{number}"):
                pass
            child.send_signal(signal.SIGTERM)
            child.wait(timeout=60)
            left = sorted(os.listdir(self.path(f"out{number}")))
            self.assertIn(left, ([], [b"node.key", b"node.pem"]))

    USAGE = [
        (["cert"], 'cert takes "ca" or "issue NAME" (see hoq cert --help)'),
        (["cert", "make"], 'cert takes "ca" or "issue NAME" (see hoq cert --help)'),
        (["cert", "ca"], "cert needs --out DIR, a folder for the files"),
        (["cert", "ca", "x", "--out", "o"], "cert ca takes no further argument"),
        (["cert", "ca", "--out", "o", "--host", "h"], "--ca and --host are for cert issue"),
        (["cert", "issue", "--ca", "ca", "--out", "o"],
         "cert issue takes one NAME (see hoq cert --help)"),
        (["cert", "issue", "a", "b", "--ca", "ca", "--out", "o"],
         "cert issue takes one NAME (see hoq cert --help)"),
        (["cert", "issue", "n", "--out", "o"],
         "cert issue needs --ca DIR, the folder of the authority"),
        (["cert", "issue", "../n", "--ca", "ca", "--out", "o"],
         '"../n" is neither a DNS name nor an IP address (without port or brackets)'),
        (["cert", "issue", "n", "--ca", "ca", "--out", "o", "--host", "h:1"],
         '"h:1" is neither a DNS name nor an IP address (without port or brackets)'),
        (["cert", "issue", "*.nodes.example", "--ca", "ca", "--out", "o"],
         'NAME is a DNS name or an IP address, not "*.nodes.example" (--host takes further names)'),
        (["cert", "issue", "n", "--ca", "ca", "--out", "o", "--days", "0"],
         '--days takes a number from 1 to 36500, not "0"'),
        (["cert", "ca", "--out", "o", "--days", "ten"],
         '--days takes a number from 1 to 36500, not "ten"'),
    ]

    def test_wrong_usage_makes_nothing(self):
        self.authority()
        for arguments, error in self.USAGE:
            with self.subTest(arguments=arguments):
                self.assert_fails(self.hoq(*arguments), 2, error)
                self.assertFalse(self.exists("o"))

    def test_an_authority_that_is_not_there_is_named(self):
        self.assert_fails(self.hoq("cert", "issue", "n", "--ca", "ca", "--out", "o"), 1,
                          f"{self.dir}/ca/ca.pem: cannot be read: No such file or directory")


if __name__ == "__main__":
    unittest.main()
