import contextlib
import os
import socket
import ssl
import subprocess
import sys

import grpc

from certificates import Authority
from daemon import API, DEADLINE, DaemonTest, main, read_all
from hoqtest import NOBODY, environment


class Clients(DaemonTest):
    def assert_known_as(self, client, name, may_read, may_change):
        info = client.info()
        self.assertEqual((info.client.decode(), info.may_read, info.may_change),
                         (name, may_read, may_change))
        self.assertEqual(client.list_code(self.dir), 0 if may_read else 414)
        made = os.path.join(self.dir, "made by " + name)
        self.assertEqual(client.mkdir(made)[0], 0 if may_change else 414)
        self.assertEqual(os.path.exists(made), may_change)

    def test_a_client_is_what_the_first_entry_with_one_of_its_names_says(self):
        daemon = self.serve(("reader", "read"), ("uid:0", "read change"), ("writer", "change"),
                            ("URN:hoq:both", "read change"), ("urn:hoq:both", "read change"),
                            ("reader", "read change"), ("none", ""))
        cases = [
            ("reader", None, "reader", True, False),
            ("writer", None, "writer", False, True),
            ("uri", "URI:urn:hoq:both", "urn:hoq:both", True, True),
            ("two", "DNS:writer,DNS:reader", "reader", True, False),
            ("case", "DNS:ReAdEr", "reader", True, False),
            ("none", None, "none", False, False),
            ("stranger", None, "unknown", False, False),
            ("pretender", "DNS:uid:0,URI:uid:0", "unknown", False, False),
        ]
        for name, names, known, may_read, may_change in cases:
            with self.subTest(name=name):
                self.assert_known_as(self.client(daemon, name, names), known, may_read, may_change)

    def test_the_common_name_is_no_name(self):
        daemon = self.serve(("nobody", "read change"))  # what every subject here says
        self.assert_known_as(self.client(daemon, "a"), "unknown", False, False)

    def test_who_has_no_good_certificate_is_not_served(self):
        foreign = Authority(os.path.join(self.dir, "foreign"))
        revoked = self.certificate("revoked")
        with open(self.path("revoked.txt"), "w", encoding="ascii") as stream:
            stream.write("# lost\n" + revoked.fingerprint() + "\n")
        daemon = self.serve(("admin", "read"), revoked="revoked.txt")
        good = self.certificate("admin")
        cases = [
            ("expired", self.authority.issue("old", "DNS:admin", days=-1), "expired"),
            ("foreign", foreign.issue("admin"), "no handshake"),
            ("revoked", revoked, "revoked"),
            ("none", None, "no handshake"),
        ]
        for name, certificate, told in cases:
            with self.subTest(name=name):
                before = len(daemon.log.all)
                try:  # in TLS 1.3 the refusal comes after the client's side is done
                    stream = self.tls(daemon, certificate)
                    stream.sendall(b"PRI * HTTP/2.0\r\n\r\nSM\r\n\r\n" + bytes(9))
                    self.assertEqual(read_all(stream), b"")
                except (ssl.SSLError, ConnectionError):
                    pass
                daemon.log.wait("no handshake", len(
                    [line for line in daemon.log.all[:before] if "no handshake" in line]) + 1)
                self.assertIn(told, "\n".join(daemon.log.all[before:]))
        client = self.client(daemon, "admin", certificate=good)
        self.assertEqual(client.info().client, b"admin")
        self.assertEqual(len(daemon.workers()), 1, "strangers start no worker")

    def test_a_stock_client_sees_its_certificate_refused(self):
        daemon = self.serve(("admin", "read"))
        foreign = Authority(os.path.join(self.dir, "foreign"))
        client = self.client(daemon, "admin", certificate=foreign.issue("admin"))
        with self.assertRaises(grpc.RpcError) as caught:
            client.info()
        self.assertEqual(caught.exception.code(), grpc.StatusCode.UNAVAILABLE)
        daemon.log.wait("no handshake")

    def test_only_tls_1_3_with_http_2_is_spoken(self):
        daemon = self.serve(("admin", "read"))
        good = self.certificate("admin")
        for alpn in ((), ("http/1.1",)):
            with self.subTest(alpn=alpn):
                try:
                    stream = self.tls(daemon, good, alpn=alpn)
                    self.assertEqual(read_all(stream), b"")
                except (ssl.SSLError, ConnectionError):
                    pass
        context = ssl.SSLContext(ssl.PROTOCOL_TLS_CLIENT)
        context.load_verify_locations(self.authority.pem)
        context.load_cert_chain(good.pem, good.key)
        context.maximum_version = ssl.TLSVersion.TLSv1_2
        context.set_alpn_protocols(["h2"])
        with self.assertRaises((ssl.SSLError, ConnectionError)):
            context.wrap_socket(self.tcp(daemon), server_hostname="localhost")
        daemon.log.wait("no handshake", 3)
        self.assertEqual(daemon.workers(), [])

    def test_what_is_no_tls_ends_at_once_and_the_daemon_serves_on(self):
        daemon = self.serve(("admin", "read"))
        client = self.client(daemon, "admin")
        self.assertEqual(client.info().client, b"admin")
        hello = ssl_hello()
        cases = [
            ("plain HTTP", b"GET / HTTP/1.1\r\nHost: localhost\r\n\r\n"),
            ("plain HTTP/2", b"PRI * HTTP/2.0\r\n\r\nSM\r\n\r\n"),
            ("ssh", b"SSH-2.0-OpenSSH_9.2\r\n"),
            ("zeros", bytes(4096)),
            ("all ones", b"\xff" * 4096),
            ("a record of no kind", b"\x99\x03\x03\x00\x05hello"),
            ("a giant record", b"\x16\x03\x01\xff\xff" + bytes(65535)),
            ("a spoilt greeting", hello[:60] + b"\xff" * 40 + hello[100:]),
        ]
        for name, data in cases:
            with self.subTest(name=name):
                connected = self.tcp(daemon)
                try:
                    connected.sendall(data)
                except ConnectionError:
                    pass  # it was ended while we still spoke
                read_all(connected)
        for length in (1, 5, 100, len(hello) - 1):
            with self.subTest(cut=length):
                connected = self.tcp(daemon)
                connected.sendall(hello[:length])
                connected.shutdown(socket.SHUT_WR)
                read_all(connected)
        daemon.log.wait("no handshake", len(cases) + 4)
        self.assertEqual(client.info().client, b"admin", "on the same connection as before")
        self.assertEqual(client.list_code(self.dir), 0)

    def test_garbage_after_a_good_handshake_ends_that_connection_alone(self):
        daemon = self.serve(("admin", "read"))
        client = self.client(daemon, "admin")
        self.assertEqual(client.info().client, b"admin")
        stream = self.tls(daemon, self.certificate("admin"))
        with contextlib.suppress(OSError):  # it need not hear all of it
            stream.sendall(b"\x00\x01garbage" * 5000)
        read_all(stream)
        self.assertEqual(client.info().client, b"admin")
        self.assertEqual(len(daemon.workers()), 1)


class UnixClients(DaemonTest):
    def setUp(self):
        super().setUp()
        os.chmod(self.dir, 0o755)
        self.socket = os.path.join(self.dir, "hoqd.sock")
        self.listen = f'["unix:{self.socket}", "127.0.0.1:0"]'

    def test_a_peer_is_its_user(self):
        daemon = self.serve((f"uid:{os.geteuid()}", "read"), listen=self.listen)
        self.assertEqual(daemon.address(), f"unix:{self.socket}")
        client = self.unix_client(self.socket)
        self.assertEqual(client.info().client.decode(), f"uid:{os.geteuid()}")
        self.assertEqual(client.list_code(self.dir), 0)
        self.assertEqual(client.mkdir(os.path.join(self.dir, "d"))[0], 414)

    def test_a_user_that_no_entry_names_is_refused(self):
        self.serve((f"uid:{os.geteuid() + 1}", "read"), listen=self.listen)
        client = self.unix_client(self.socket)
        self.assertEqual(client.info().client, b"unknown")
        self.assertEqual(client.list_code(self.dir), 414)

    def test_another_user_is_told_apart(self):
        if os.geteuid() != 0:
            self.skipTest("only root can be another user")
        if subprocess.run(["test", "-r", API], user=NOBODY, group=NOBODY).returncode != 0:
            self.skipTest("the working copy cannot be read without root's rights")
        self.serve(("uid:0", "read change"), (f"uid:{NOBODY}", "read"), listen=self.listen)
        script = (f"import sys; sys.path.insert(0, {os.path.dirname(os.path.abspath(__file__))!r})\n"
                  f"import grpc, daemon\n"
                  f"client = daemon.Client(grpc.insecure_channel('unix:{self.socket}'))\n"
                  f"print(client.info().client.decode())\n")
        done = subprocess.run([sys.executable, "-c", script], user=NOBODY, group=NOBODY,
                              extra_groups=[], capture_output=True, timeout=DEADLINE,
                              env=environment(PYTHONDONTWRITEBYTECODE="1"))
        self.assertEqual(done.stdout.decode(), f"uid:{NOBODY}\n", done.stderr.decode())

    def test_a_socket_whose_daemon_died_is_replaced_and_one_in_use_is_not(self):
        daemon = self.serve(listen=self.listen)
        config = self.configure(listen=self.listen, name="other.toml")
        from daemon import Daemon
        second = Daemon(config)
        self.addCleanup(second.stop)
        self.assertEqual(second.wait(), 1)
        daemon.stop()
        self.assertTrue(os.path.exists(self.socket))
        self.start(config)
        self.assertEqual(self.unix_client(self.socket).info().client, b"unknown")


def ssl_hello():
    """The first bytes of a TLS client."""
    context = ssl.SSLContext(ssl.PROTOCOL_TLS_CLIENT)
    sent = ssl.MemoryBIO()
    stream = context.wrap_bio(ssl.MemoryBIO(), sent, server_hostname="localhost")
    try:
        stream.do_handshake()
    except ssl.SSLWantReadError:
        pass
    return sent.read()


if __name__ == "__main__":
    main()
