import json
import os
import socket
import subprocess

from certificates import Authority
from daemon import DEADLINE, DaemonTest, filer_pb2, main


class Dial(DaemonTest):
    """A node reaches another for its client, as itself."""

    def copy(self, client, node, source="source", destination="copy"):
        request = filer_pb2.CopyToNodeRequest(
            paths=[self.path(source)], node=node.encode(), destination=self.path(destination))
        request.context.options = 0x2  # recursive
        return client.filer("CopyToNode", request)

    def two_nodes(self, entry=("node", "read change")):
        first = self.serve(("admin", "read change"), ("reader", "read"),
                           top='audit = "audit.1"\nmetrics = "127.0.0.1:0"', name="first.toml")
        certificate = self.authority.issue("second", "DNS:localhost,IP:127.0.0.1")
        second = self.serve(entry, top='audit = "audit.2"', name="second.toml", node=certificate)
        return first, second

    def setUp(self):
        super().setUp()
        self.make("source/", "source/f=text", "source/d/", "source/d/g=more")

    def test_a_tree_arrives_and_the_other_node_knows_who_sent_it(self):
        self.certificates.pop("node", None)
        first, second = self.two_nodes(("localhost", "read change"))
        self.make("copy/")
        code, errors = self.copy(self.client(first, "admin"), second.address())
        self.assertEqual((code, errors), (0, []))
        for name, text in (("copy/source/f", "text"), ("copy/source/d/g", "more")):
            with open(self.path(name), encoding="utf-8") as stream:
                self.assertEqual(stream.read(), text)
        self.assertEqual(self.metrics(first)['hoqd_dials_total{outcome="connected"}'], 1)
        second.log.wait("localhost is localhost, certificate")

    def test_a_node_that_does_not_know_the_sender_refuses(self):
        first, second = self.two_nodes(("somebody", "read change"))
        self.make("copy/")
        code, errors = self.copy(self.client(first, "admin"), second.address())
        self.assertNotEqual((code, errors), (0, []))
        self.assertEqual(os.listdir(self.path("copy")), [])

    def test_who_may_not_change_makes_no_node_dial(self):
        first, second = self.two_nodes()
        self.assertEqual(self.copy(self.client(first, "reader"), second.address())[0], 414)
        self.assertEqual(self.copy(self.client(first, "stranger"), second.address())[0], 414)
        self.assertEqual([name for name in self.metrics(first) if "hoqd_dials" in name], [])

    def test_why_a_node_cannot_be_reached_is_told(self):
        foreign = Authority(os.path.join(self.dir, "foreign"))
        first = self.serve(("admin", "read change"), top='metrics = "127.0.0.1:0"',
                           name="first.toml")
        admin = self.client(first, "admin")
        wrong_name = self.serve(node=self.authority.issue("elsewhere"), name="wrong.toml")
        mine, self.authority = self.authority, foreign
        stranger = self.serve(node=foreign.issue("node", "IP:127.0.0.1"), name="foreign.toml")
        self.authority = mine
        with socket.create_server(("127.0.0.1", 0)) as silent:
            nobody = silent.getsockname()[1]
        cases = [
            (wrong_name.address(), "untrusted"),
            (stranger.address(), "untrusted"),
            (f"127.0.0.1:{nobody}", "unreachable"),
        ]
        for number, (address, outcome) in enumerate(cases, 1):
            with self.subTest(address=address):
                code, errors = self.copy(admin, address)
                self.assertEqual(len(errors), 1, (code, errors))
                first.log.wait(f"{outcome} to {address} for admin: .+")
        metrics = self.metrics(first)
        self.assertEqual(metrics['hoqd_dials_total{outcome="untrusted"}'], 2)
        self.assertEqual(metrics['hoqd_dials_total{outcome="unreachable"}'], 1)

    def test_only_nodes_that_are_peers_are_dialled(self):
        certificate = self.authority.issue("second", "DNS:localhost,DNS:second,IP:127.0.0.1")
        second = self.serve(("localhost", "read change"), name="second.toml", node=certificate)
        port = second.port()
        cases = [
            ("second", "127.0.0.1:*", "connected"),
            ("SECOND", f"*:{port}", "connected"),
            ("third", "127.0.0.1:*", "untrusted"),
            ("second", "127.0.0.2:*", "refused"),
            ("second", "127.0.0.1:1", "refused"),
        ]
        for number, (name, address, outcome) in enumerate(cases):
            with self.subTest(name=name, address=address):
                self.make(f"copy{number}/")
                first = self.serve(("admin", "read change"), name="first.toml",
                                   top=self.peer(name, address))
                code, errors = self.copy(self.client(first, "admin"), second.address(),
                                         destination=f"copy{number}")
                self.assertEqual((code, errors) == (0, []), outcome == "connected", errors)
                first.log.wait(f"{outcome} to {second.address()} for admin")
                first.stop()

    @staticmethod
    def peer(name, address):
        return f'peer = [{{name = "{name}", address = "{address}"}}]'

    def test_a_node_on_a_unix_socket_knows_the_user_that_the_request_runs_as(self):
        self.make("copy/")
        path = os.path.join(self.dir, "s")
        second = self.serve((f"uid:{os.geteuid()}", "read change"), listen=f'["unix:{path}"]',
                            top='audit = "audit.2"', name="second.toml")
        first = self.serve(("admin", "read change"), name="first.toml")
        self.assertEqual(self.copy(self.client(first, "admin"), f"unix:{path}"), (0, []))
        second.log.wait(f"uid:{os.geteuid()} is uid:{os.geteuid()}")
        code, errors = self.copy(self.client(first, "admin"), f"unix:{self.dir}/none")
        self.assertEqual(len(errors), 1, (code, errors))

    def test_both_nodes_write_who_asked(self):
        first, second = self.two_nodes(("localhost", "read change"))
        self.make("copy/")
        self.assertEqual(self.copy(self.client(first, "admin"), second.address()), (0, []))
        for name, client, asked_by in (("audit.1", "admin", None), ("audit.2", "localhost", "admin")):
            script = f'head -n 1 <(tail -n +1 -F {name} 2>/dev/null)'
            done = subprocess.run(["bash", "-c", script], cwd=self.dir, check=True,
                                  timeout=DEADLINE, capture_output=True)
            line = json.loads(done.stdout)
            self.assertEqual((line["client"], line.get("askedBy")), (client, asked_by))

    def test_a_node_copies_to_itself(self):
        daemon = self.serve(("admin", "read change"), ("localhost", "read change"))
        self.make("copy/")
        self.assertEqual(self.copy(self.client(daemon, "admin"), daemon.address()), (0, []))
        with open(self.path("copy/source/d/g"), encoding="utf-8") as stream:
            self.assertEqual(stream.read(), "more")


if __name__ == "__main__":
    main()
