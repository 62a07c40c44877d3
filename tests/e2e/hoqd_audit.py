import json
import os
import re
import socket
import stat
import subprocess

from daemon import DEADLINE, DaemonTest, filer_pb2, main, read_all


class Audit(DaemonTest):
    def lines(self, count):
        """The first `count` lines of the audit, once they are there."""
        script = f'head -n {count} <(tail -n +1 -F audit 2>/dev/null)'
        done = subprocess.run(["bash", "-c", script], cwd=self.dir, check=True, timeout=DEADLINE,
                              capture_output=True)
        return [json.loads(line) for line in done.stdout.splitlines()]

    def test_what_changes_something_is_written_and_what_only_reads_is_not(self):
        daemon = self.serve(("admin", "read change"), ("reader", "read"), top='audit = "audit"')
        admin, reader = self.client(daemon, "admin"), self.client(daemon, "reader")
        self.assertEqual(admin.list_code(self.dir), 0)
        made = os.path.join(self.dir, "made")
        self.assertEqual(admin.mkdir(made)[0], 0)
        self.assertEqual(reader.mkdir(made)[0], 414)
        removed = filer_pb2.PathsRequest(paths=[b"none", b"\xff\n"])
        removed.context.cwd = os.fsencode(self.dir)
        self.assertEqual(admin.filer("Remove", removed)[0], 2056)
        lines = sorted(self.lines(3), key=lambda line: line["time"])
        said = [(line["client"], line["operation"], line["cwd"], line["paths"], line["code"])
                for line in lines]
        self.assertEqual(said, [
            ("admin", "Mkdir", "", [made], 0),
            ("reader", "Mkdir", "", [made], 414),
            ("admin", "Remove", self.dir, ["none", {"base64": "/wo="}], 2056),
        ])
        for line in lines:
            self.assertRegex(line["time"], r"^\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}Z$")
            self.assertNotIn("askedBy", line)
            self.assertRegex(line["address"], r"^127\.0\.0\.1:\d+$")
        self.assertEqual(stat.S_IMODE(os.stat(self.path("audit")).st_mode) & 0o007, 0)

    def test_who_is_unknown_is_written_too(self):
        daemon = self.serve(("admin", "read change"), top='audit = "audit"')
        self.assertEqual(self.client(daemon, "stranger").mkdir("/nowhere/x")[0], 414)
        line = self.lines(1)[0]
        self.assertEqual((line["client"], line["operation"], line["code"]),
                         ("unknown", "Mkdir", 414))

    def test_each_call_is_of_the_connection_that_it_came_over(self):
        daemon = self.serve(("admin", "read change"), top='audit = "audit"')
        one, other = self.client(daemon, "admin"), self.client(daemon, "admin")
        for client in (one, other, one):
            client.mkdir(self.path("d"))
        certificate = self.certificate("admin")
        sent = self.hoq("--ca", self.authority.pem, "--cert", certificate.pem, "--key",
                        certificate.key, "cp", "audit", f"{daemon.address()}:{self.dir}/copy")
        self.assertEqual((sent.status, sent.err), (0, b""), sent)
        connections = [re.search(r"(127\S+): admin is", line).group(1)
                       for line in daemon.log.all if ": admin is admin" in line]
        self.assertEqual(len(set(connections)), 3)
        first, second, third = connections
        lines = self.lines(4)
        self.assertEqual([(line["operation"], line["address"]) for line in lines],
                         [("Mkdir", first), ("Mkdir", second), ("Mkdir", first),
                          ("hoqfile_deserializer", third)])

    def test_on_a_unix_socket_nobody_has_an_address_or_feigns_one(self):
        path = os.path.join(self.dir, "s")
        daemon = self.serve((f"uid:{os.geteuid()}", "read change"), listen=f'["unix:{path}"]',
                            top='audit = "audit"\nmetrics = "127.0.0.1:0"')
        self.assertEqual(self.unix_client(path).mkdir(self.path("d"))[0], 0)
        self.assertNotIn("address", self.lines(1)[0])
        with socket.socket(socket.AF_UNIX) as feigned:
            feigned.settimeout(DEADLINE)
            feigned.bind(b"\0hoq.01234567." + b"6.6.6.6:1".hex().encode())
            feigned.connect(path)
            self.assertEqual(read_all(feigned), b"")
        self.assertEqual(self.metrics(daemon)['hoqd_refused_total{reason="name"}'], 1)

    def test_without_a_file_the_log_has_it(self):
        daemon = self.serve(("admin", "read change"))
        self.client(daemon, "admin").mkdir(self.path("d"))
        line = json.loads(daemon.log.wait("audit: ").split("audit: ", 1)[1])
        self.assertEqual((line["operation"], line["code"]), ("Mkdir", 0))

    def test_many_paths_are_counted_and_not_all_named(self):
        daemon = self.serve(("admin", "read change"), top='audit = "audit"')
        paths = [self.path(f"d{number}") for number in range(100)]
        admin = self.client(daemon, "admin")
        self.assertEqual(admin.filer("Mkdir", filer_pb2.MkdirRequest(paths=paths))[0], 0)
        line = self.lines(1)[0]
        self.assertEqual(line["pathCount"], 100)
        self.assertEqual(line["paths"], [os.fsdecode(path) for path in paths[:16]])

    def test_an_audit_that_cannot_be_written_is_counted_and_the_log_has_the_line(self):
        daemon = self.serve(("admin", "read change"),
                            top='audit = "/dev/full"\nmetrics = "127.0.0.1:0"')
        self.assertEqual(self.client(daemon, "admin").mkdir(self.path("d"))[0], 0)
        daemon.log.wait("cannot write to /dev/full: No space left on device; audit: ")
        metrics = self.metrics(daemon)
        self.assertEqual(metrics["hoqd_audit_records_total"], 1)
        self.assertEqual(metrics["hoqd_audit_failures_total"], 1)


if __name__ == "__main__":
    main()
