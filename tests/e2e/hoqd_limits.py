import os
import socket
import ssl

import grpc

from daemon import DEADLINE, DaemonTest, Requests, main, read_all


class Limits(DaemonTest):
    def open_descriptors(self, daemon):
        return len(os.listdir(f"/proc/{daemon.process.pid}/fd"))

    def await_connections(self, daemon, count):
        """Each look is a visit to the daemon: it turns as often as we ask."""
        for _ in range(100000):
            if self.metrics(daemon)["hoqd_connections"] == count:
                return
        self.fail(f"connections never were {count}: {self.metrics(daemon)}")

    def silent(self, daemon, count, source="127.0.0.1"):
        return [self.tcp(daemon, source) for _ in range(count)]

    def test_connections_beyond_the_limit_are_closed_at_once(self):
        daemon = self.serve(("admin", "read"), top='metrics = "127.0.0.1:0"',
                            limits="connections = 5\nconnections_per_peer = 100")
        first = self.silent(daemon, 5)
        self.await_connections(daemon, 5)
        for connected in self.silent(daemon, 50):
            self.assertEqual(read_all(connected), b"")
        metrics = self.metrics(daemon)
        self.assertEqual(metrics['hoqd_refused_total{reason="connections"}'], 50)
        self.assertEqual(metrics["hoqd_connections"], 5)
        for connected in first:
            connected.close()
        self.await_connections(daemon, 0)
        self.assertEqual(self.client(daemon, "admin").info().client, b"admin")

    def test_a_peer_cannot_take_all_places(self):
        daemon = self.serve(("admin", "read"), top='metrics = "127.0.0.1:0"',
                            limits="connections = 100\nconnections_per_peer = 3")
        self.silent(daemon, 3, "127.0.0.2")
        self.await_connections(daemon, 3)
        for connected in self.silent(daemon, 20, "127.0.0.2"):
            self.assertEqual(read_all(connected), b"")
        metrics = self.metrics(daemon)
        self.assertEqual(metrics['hoqd_refused_total{reason="connections_per_peer"}'], 20)
        self.assertEqual(self.client(daemon, "admin").info().client, b"admin")

    def test_a_silent_connection_ends_after_ten_seconds(self):
        daemon = self.serve(("admin", "read"))
        silent, halfway = self.silent(daemon, 2)
        halfway.sendall(b"\x16\x03\x01\x02\x00\x01")
        self.assertEqual(read_all(silent), b"")
        read_all(halfway)
        daemon.log.wait("no handshake", 2)
        self.assertEqual(self.client(daemon, "admin").info().client, b"admin")

    def test_a_flood_leaves_nothing_behind(self):
        daemon = self.serve(("admin", "read"), top='metrics = "127.0.0.1:0"',
                            limits="connections = 50\nconnections_per_peer = 40")
        client = self.client(daemon, "admin")
        self.assertEqual(client.info().client, b"admin")
        self.await_connections(daemon, 1)
        before = self.open_descriptors(daemon)
        for _ in range(10):
            for connected in self.silent(daemon, 60):
                try:
                    connected.sendall(b"\x16\x03\x01")
                except ConnectionError:
                    pass
                connected.close()
        certificate = self.certificate("admin")
        for _ in range(30):
            try:
                stream = self.tls(daemon, certificate)
                stream.sendall(b"PRI * HTTP/2.0\r\n\r\nSM\r\n\r\n")
                stream.close()
            except (ssl.SSLError, ConnectionError):
                pass  # the flood before may still be counted
        self.assertEqual(client.info().client, b"admin", "the old connection stands")
        self.await_connections(daemon, 1)
        for _ in range(100000):  # the pump closes its sockets a moment after it has said so
            self.metrics(daemon)
            if self.open_descriptors(daemon) <= before + 1:  # one may be the visit's own
                break
        self.assertLessEqual(self.open_descriptors(daemon), before + 1)
        self.assertEqual(len(daemon.workers()), 1)

    def test_unix_peers_are_counted_by_their_users(self):
        path = os.path.join(self.dir, "s")
        daemon = self.serve((f"uid:{os.geteuid()}", "read"), listen=f'["unix:{path}"]',
                            top='metrics = "127.0.0.1:0"', limits="connections_per_peer = 2")
        kept = []
        for _ in range(2):
            kept.append(socket.socket(socket.AF_UNIX))
            self.addCleanup(kept[-1].close)
            kept[-1].connect(path)
            kept[-1].sendall(b"PRI * HTTP/2.0\r\n\r\nSM\r\n\r\n\0\0\0\x04\0\0\0\0\0")
        self.await_connections(daemon, 2)
        third = socket.socket(socket.AF_UNIX)
        third.settimeout(DEADLINE)
        self.addCleanup(third.close)
        third.connect(path)
        self.assertEqual(read_all(third), b"")
        for connected in kept:
            connected.close()
        self.await_connections(daemon, 0)

    def test_more_requests_than_a_client_may_have_are_told_so(self):
        daemon = self.serve(("admin", "read change"), limits="requests_per_client = 2")
        client = self.client(daemon, "admin")
        paths = [self.path("one"), self.path("two")]
        waiting = [client.upload(Requests(path)) for path in paths]
        self.addCleanup(lambda: [call.cancel() for call in waiting])
        for call in waiting:
            next(call)  # the node has begun it
        with self.assertRaises(grpc.RpcError) as caught:
            client.list_code(self.dir)
        self.assertEqual(caught.exception.code(), grpc.StatusCode.RESOURCE_EXHAUSTED)


if __name__ == "__main__":
    main()
