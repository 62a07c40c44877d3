"""Requests that are confined to folders: what they see, and that there is no way out."""

import base64
import json
import os
import subprocess
import threading
import unittest

from daemon import BIN, DEADLINE, filer_pb2
from hoqd_identity import IdentityTest, ME, OTHER, uid

RECURSIVE, FOLLOW, SYMBOLIC = 0x2, 0x4, 0x40


def can_confine():
    done = subprocess.run(["unshare", "-m", "true"], capture_output=True, timeout=DEADLINE)
    return done.returncode == 0


class Roots(IdentityTest):
    """The client "me" is root's user, whom nothing but its roots keeps from anything."""

    RUN_AS = "root"
    RIGHTS = "read change"

    def setUp(self):
        super().setUp()
        if not can_confine():
            self.skipTest("this system has no mount namespaces to confine anybody with")
        self.make("in/", "in/file=inside", "in/sub/", "also/", "also/file=also",
                  "out/", "out/secret=SECRET")
        os.chmod(self.path("in"), 0o777)
        self.root, self.out = os.path.join(self.dir, "in"), os.path.join(self.dir, "out")
        roots = f'roots = ["{self.root}", "{self.dir}/also"]'
        self.daemon = self.serve(("me", self.RIGHTS, f'run_as = "{self.RUN_AS}"', roots),
                                 ("free", "read change", f'run_as = "{self.RUN_AS}"'))

    def call(self, operation, client="me", **request):
        result = self.on(self.daemon, client, "call", operation, stdin=json.dumps(request).encode())
        self.assertIn(result.status, (0, 1, 4), result)
        return json.loads(result.out)

    def names(self, path):
        answer = self.call("list", paths=[path], fields=0x400)
        return sorted({record["name"] for record in answer["records"]} - {".", ".."})

    def read(self, path):
        answer = self.call("download", items=[{"path": path}])
        return base64.b64decode(answer["items"][0]["data"])


class WhatIsThere(Roots):
    def test_roots_are_there_under_their_own_names_and_the_rest_is_not(self):
        self.assertEqual(self.read(f"{self.root}/file"), b"inside")
        self.assertEqual(self.read(f"{self.dir}/also/file"), b"also")
        self.assertEqual(self.names(self.dir), ["also", "in"])
        for path in (self.out, "/etc/shadow", "/etc/ssl", "/root", "/home", "/var", "/run", "/tmp/x",
                     "/proc", "/proc/1/root", "/proc/self", "/sys", "/dev/mem", "/dev/vda",
                     "/usr/bin/sh", "/usr/share/doc", "/boot", self.node.key):
            if path.startswith("/proc") and os.environ.get("HOQ_SANITIZED"):
                continue  # its runtime reads there
            answer = self.call("download", items=[{"path": path}])
            self.assertIn("No such file", json.dumps(answer), path)

    def test_the_scaffold_is_small_and_cannot_be_changed(self):
        ways = set(self.dir.split("/")) | set(os.path.realpath(BIN).split("/"))  # to roots and plugins
        scaffold = {"dev", "etc", "lib", "lib32", "lib64", "libx32", "usr"}
        self.assertEqual(set(self.names("/")) - ways, (scaffold & set(os.listdir("/"))) - ways)
        for path in ("/new", "/etc/new", "/usr/lib/new", "/dev/new", f"{self.dir}/new"):
            self.assertNotEqual(self.call("mkdir", paths=[path])["code"], 0, path)
            self.assertFalse(os.path.exists(path), path)
        for path in ("/etc/passwd", "/usr/lib/os-release"):
            before = os.stat(path).st_mode
            self.assertNotEqual(self.call("chmod", paths=[path], mode=0o777)["code"], 0, path)
            self.assertEqual(os.stat(path).st_mode, before)

    def test_names_of_users_and_kinds_of_contents_are_known(self):
        os.chown(self.path("in/file"), uid(OTHER), uid(OTHER))
        answer = self.call("stat", paths=[f"{self.root}/file"], fields=0xFFF)
        record = answer["records"][0]
        self.assertEqual((record["user"], record["contentType"][:10]), (OTHER, "text/plain"))

    def test_changes_are_made_where_everybody_sees_them(self):
        self.assertEqual(self.call("mkdir", paths=[f"{self.root}/made"])["code"], 0)
        self.assertTrue(self.exists("in/made"))
        self.make("in/later=later")
        self.assertEqual(self.read(f"{self.root}/later"), b"later")

    def test_others_are_not_confined_by_it(self):
        answer = self.call("stat", client="free", paths=[f"{self.out}/secret"])
        self.assertEqual(answer["code"], 0)


class WhatIsThereForAUser(WhatIsThere):
    """The same for one who is not root."""

    RUN_AS = ME

    def setUp(self):
        super().setUp()
        os.chown(self.root, uid(ME), uid(ME))


class NoWayOut(Roots):
    def assert_inside(self, answer):
        self.assertNotIn(base64.b64encode(b"SECRET").decode(), json.dumps(answer))
        with open(self.path("out/secret"), encoding="ascii") as stream:
            self.assertEqual(stream.read(), "SECRET")
        self.assertEqual(os.listdir(self.out), ["secret"])

    def test_links_and_dots_lead_nowhere(self):
        os.symlink(self.out, self.path("in/absolute"))
        os.symlink("../out", self.path("in/relative"))
        os.symlink("/proc/1/root", self.path("in/proc"))
        os.symlink("/proc/self/fd/2", self.path("in/fd"))
        ways = [f"{self.root}/{way}" for way in
                ("absolute", "relative", "../out", "sub/../../out", f"proc{self.out}", "fd")]
        for way in ways:
            for operation, request in (
                    ("download", {"items": [{"path": f"{way}/secret"}]}),
                    ("list", {"paths": [way], "options": RECURSIVE | FOLLOW}),
                    ("stat", {"paths": [f"{way}/secret"], "options": FOLLOW}),
                    ("upload", {"items": [{"path": f"{way}/new", "size": 1, "data": "eA=="}]}),
                    ("mkdir", {"paths": [f"{way}/new"]}),
                    ("chmod", {"paths": [f"{way}/secret"], "mode": 0o777}),
                    ("remove", {"paths": [f"{way}/secret"]}),
                    ("copy", {"paths": [f"{way}/secret"], "destination": f"{self.root}/sub"}),
                    ("move", {"paths": [f"{self.root}/file"], "destination": f"{way}/"}),
                    ("link", {"target": f"{way}/secret", "name": f"{self.root}/hard"})):
                with self.subTest(way=way, operation=operation):
                    answer = self.call(operation, **request)
                    self.assertNotEqual(answer["code"], 0, answer)
                    self.assert_inside(answer)

    def test_links_that_the_client_makes_lead_nowhere(self):
        for target in (self.out, f"{self.out}/secret", "../out/secret", "/etc/shadow"):
            made = self.call("link", target=target, name="own", options=SYMBOLIC,
                             cwd=self.root)
            self.assertEqual(made["code"], 0)
            answer = self.call("download", items=[{"path": f"{self.root}/own"}])
            self.assertNotEqual(answer["code"], 0)
            self.assert_inside(answer)
            self.assertEqual(self.call("remove", paths=[f"{self.root}/own"])["code"], 0)

    def test_roots_are_not_joined_by_hard_links_or_moves_beyond_them(self):
        answer = self.call("link", target=f"{self.root}/file", name=f"{self.dir}/hard")
        self.assertNotEqual(answer["code"], 0)
        answer = self.call("move", paths=[f"{self.root}/file"], destination=self.dir)
        self.assertNotEqual(answer["code"], 0)
        self.assertEqual(sorted(os.listdir(self.dir))[:3], ["also", "hoqd.toml", "hoqd.toml.state"])

    def test_devices_are_none_in_a_root(self):
        os.mknod(self.path("in/device"), 0o20666, os.makedev(1, 5))  # zeros without end
        answer = self.call("download", items=[{"path": f"{self.root}/device", "size": 4}])
        self.assertNotEqual(answer["code"], 0)

    def test_a_link_that_takes_turns_with_a_folder_is_never_a_way_out(self):
        """Somebody swaps a folder for a link while requests walk through it."""
        os.makedirs(self.path("in/turn"))
        os.symlink(self.out, self.path("in/link"))
        stop = threading.Event()

        def swap():
            while not stop.is_set():
                os.rename(self.path("in/turn"), self.path("in/away"))
                os.rename(self.path("in/link"), self.path("in/turn"))
                os.rename(self.path("in/turn"), self.path("in/link"))
                os.rename(self.path("in/away"), self.path("in/turn"))
        swapper = threading.Thread(target=swap)
        swapper.start()
        self.addCleanup(swapper.join)
        self.addCleanup(stop.set)
        client = self.client(self.daemon, "me")
        for number in range(400):
            turn = os.fsencode(f"{self.root}/turn")
            client.filer("Mkdir", filer_pb2.MkdirRequest(paths=[turn + b"/%d" % number]))
            events = client.events(client.begin(
                "Download", filer_pb2.DownloadRequest(items=[
                    filer_pb2.TransferItem(path=turn + b"/secret")])))
            self.assertNotIn(b"SECRET", b"".join(event.SerializeToString() for event in events))
        self.assertEqual(os.listdir(self.out), ["secret"])


class ReadOnly(Roots):
    """Who may only read meets roots that cannot be written, root or not."""

    RIGHTS = "read"

    def test_the_roots_are_mounted_so(self):
        self.assertEqual(self.read(f"{self.root}/file"), b"inside")
        with open(f"/proc/{self.worker_of(self.daemon, 'me')}/mountinfo", encoding="utf-8") as file:
            mounts = {line.split()[4]: line.split()[5].split(",") for line in file}
        self.assertEqual({path for path, options in mounts.items() if "ro" not in options}, set())
        self.assertIn(self.root, mounts)


class WrongRoots(IdentityTest):
    def told(self, root):
        if not can_confine():
            self.skipTest("this system has no mount namespaces to confine anybody with")
        daemon = self.serve(("me", "read", f'run_as = "{ME}"', f'roots = ["{root}"]'))
        self.assert_lost(self.client(daemon, "me").info)
        return daemon.log.wait("for me: not started: ")

    def test_a_root_that_is_not_there_is_told(self):
        self.assertIn(f"{self.dir}/none: No such file", self.told(f"{self.dir}/none"))

    def test_a_root_that_a_link_leads_to_is_not_taken(self):
        self.make("real/", "real/sub/", "link -> real")
        self.assertIn("a link leads to it", self.told(f"{self.dir}/link/sub"))

    def test_a_root_that_is_a_file_is_not_taken(self):
        self.make("file=text")
        self.assertIn("Not a directory", self.told(f"{self.dir}/file"))


del IdentityTest  # it has no tests of its own

if __name__ == "__main__":
    unittest.main()
