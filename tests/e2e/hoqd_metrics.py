import os
import socket

from daemon import DEADLINE, DaemonTest, main, read_all


class Metrics(DaemonTest):
    def visit(self, daemon):
        connected = socket.create_connection(("127.0.0.1", daemon.metrics_port()), DEADLINE)
        self.addCleanup(connected.close)
        return connected

    def ask(self, daemon, request):
        connected = self.visit(daemon)
        connected.sendall(request)
        return read_all(connected)

    def serve_metrics(self, *clients, **more):
        return self.serve(*clients, top='metrics = "127.0.0.1:0"', **more)

    def await_metric(self, daemon, name, value):
        for _ in range(100000):  # a worker reports each second
            if self.metrics(daemon).get(name) == value:
                return
        self.fail(f"{name} never was {value}: {self.metrics(daemon)}")

    def test_what_front_and_workers_do_is_counted(self):
        daemon = self.serve_metrics(("admin", "read change"))
        admin = self.client(daemon, "admin")
        self.assertEqual(admin.list_code(self.dir), 0)
        self.assertEqual(admin.list_code(self.dir), 0)
        self.assertEqual(admin.mkdir(self.path("d"))[0], 0)
        self.await_metric(
            daemon, 'hoqd_calls_total{client="admin",operation="List",code="0"}', 2)
        metrics = self.metrics(daemon)
        self.assertEqual(metrics['hoqd_calls_total{client="admin",operation="Mkdir",code="0"}'], 1)
        self.assertEqual(metrics['hoqd_accepted_total{transport="tls"}'], 1)
        self.assertEqual(metrics["hoqd_connections"], 1)
        self.assertEqual(metrics["hoqd_workers"], 1)
        self.assertEqual(metrics["hoqd_worker_starts_total"], 1)
        self.assertEqual(metrics["hoqd_audit_records_total"], 1)
        self.assertGreater(metrics["hoqd_tls_received_bytes_total"], 0)
        self.assertGreater(metrics["hoqd_tls_sent_bytes_total"], 0)

    def test_what_ended_workers_did_is_not_forgotten(self):
        daemon = self.serve_metrics(("admin", "read"), limits="worker_idle_seconds = 1")
        row = 'hoqd_calls_total{client="admin",operation="List",code="0"}'
        for calls in (1, 2):
            admin = self.client(daemon, "admin")
            self.assertEqual(admin.list_code(self.dir), 0)
            admin.close()
            daemon.log.wait("for admin ended: exit status 0", calls)
            self.assertEqual(self.metrics(daemon)[row], calls)
            self.assertEqual(self.metrics(daemon)["hoqd_workers"], 0)

    def test_names_of_clients_do_not_break_the_text(self):
        daemon = self.serve_metrics(("urn:x:a\\\\b\\\"c", "read"))
        client = self.client(daemon, "quoted", "URI:urn:x:a")
        self.assertEqual(client.list_code(self.dir), 414)
        self.await_metric(
            daemon, 'hoqd_calls_total{client="unknown",operation="List",code="414"}', 1)

    def test_only_metrics_are_served(self):
        daemon = self.serve_metrics()
        cases = [
            (b"GET / HTTP/1.1\r\n\r\n", b"HTTP/1.1 404"),
            (b"POST /metrics HTTP/1.1\r\nContent-Length: 5\r\n\r\nhello", b"HTTP/1.1 405"),
            (b"garbage\r\n\r\n", b"HTTP/1.1 400"),
            (b"x" * 4096, b"HTTP/1.1 400"),
            (b"GET /metrics HTTP/1.0\r\n\r\n", b"HTTP/1.1 200"),
        ]
        for request, answer in cases:
            with self.subTest(request=request[:40]):
                self.assertTrue(self.ask(daemon, request).startswith(answer))

    def test_visitors_that_say_nothing_do_not_shut_others_out_for_long(self):
        daemon = self.serve_metrics(("admin", "read"))
        silent = [self.visit(daemon) for _ in range(40)]
        for connected in silent:
            self.assertEqual(read_all(connected), b"")  # at once or after its time
        self.assertIn("hoqd_workers", self.metrics(daemon))
        self.assertEqual(self.client(daemon, "admin").info().client, b"admin")

    def test_a_piece_at_a_time_is_a_request_too(self):
        daemon = self.serve_metrics()
        connected = self.visit(daemon)
        connected.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
        for byte in b"GET /metrics HTTP/1.1\r\n\r\n":
            connected.sendall(bytes([byte]))
        self.assertTrue(read_all(connected).startswith(b"HTTP/1.1 200 OK\r\n"))

    def test_nothing_is_listened_on_without_being_asked_for(self):
        daemon = self.serve(("admin", "read"))
        daemon.log.wait("listening")
        inodes = set()
        for fd in os.listdir(f"/proc/{daemon.process.pid}/fd"):
            link = os.readlink(f"/proc/{daemon.process.pid}/fd/{fd}")
            if link.startswith("socket:["):
                inodes.add(link[8:-1])
        with open("/proc/net/tcp", encoding="ascii") as stream:
            rows = [line.split() for line in stream.readlines()[1:]]
        listening = [row[1] for row in rows if row[3] == "0A" and row[9] in inodes]
        self.assertEqual(listening, [f"0100007F:{daemon.port():04X}"])


if __name__ == "__main__":
    main()
