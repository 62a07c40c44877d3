"""hoq against nodes: the commands through --node, and copies from node to node."""

import json
import os
import socket

from daemon import main
from hoqtest import environment
from nodes import Nodes


class Commands(Nodes):
    def test_a_command_says_the_same_on_a_node_as_in_process(self):
        self.make("l -> tree/a", "odd\nname", "100%s%n")
        os.close(os.open(os.path.join(os.fsencode(self.dir), b"\xff\xfe"), os.O_CREAT, 0o644))
        rows = [
            ["ls"], ["ls", "-lR", "tree"], ["ls", "-R", "--json"], ["ls", "-s", "tree"],
            ["ls", "nope", "tree"], ["ls", "-w", "t*/*"], ["stat", "tree/a", "l"],
            ["stat", "-L", "--json", "l"], ["stat", "nope"], ["readlink", "l"],
            ["readlink", "tree/a"], ["mkdir", "tree"], ["chmod", "600", "nope"],
            ["ls", "-R", "--filter", "type=file", "tree"],
        ]
        for row in rows:
            with self.subTest(row=row):
                here = self.hoq("-C", self.dir, *row)
                there = self.on(self.there, "-C", self.dir, *row)
                self.assertEqual((there.status, there.out, there.err),
                                 (here.status, here.out, here.err))

    def test_changes_are_made_there(self):
        here = self.dir
        for arguments in (["mkdir", "-p", f"{here}/new/deep"], ["chmod", "700", f"{here}/new"],
                          ["cp", "-R", f"{here}/tree", f"{here}/new/tree"],
                          ["mv", f"{here}/new/tree/a", f"{here}/new/c"],
                          ["ln", "-s", "c", f"{here}/new/l"], ["chmod", "-R", "u+x", f"{here}/new"],
                          ["rm", "-r", f"{here}/new/tree/sub"]):
            with self.subTest(arguments=arguments):
                self.done(self.on(self.there, *arguments))
        self.assertEqual(sorted(self.contents("new")), ["c", "deep", "l", "tree", "tree/empty"])

    def test_files_are_put_and_got(self):
        big = os.urandom(3_000_000)
        with open(self.path("big"), "wb") as stream:
            stream.write(big)
        self.done(self.on(self.there, "put", "--verify", "big", f"{self.dir}/far"))
        self.done(self.on(self.there, "get", "--verify", f"{self.dir}/far", "back"))
        with open(self.path("back"), "rb") as stream:
            self.assertEqual(stream.read(), big)
        self.done(self.on(self.there, "put", "-R", "tree", f"{self.dir}/copy"))
        self.assertEqual({name: found and found[0] for name, found in self.contents("copy").items()},
                         {name: found and found[0] for name, found in self.contents("tree").items()})

    def test_call_answers_the_same(self):
        for operation, request in (
                ("list", {"paths": ["tree"], "fields": 0x7FF, "options": 2}),
                ("list", {"paths": ["tree/a"], "fields": 1}),
                ("stat", {"paths": ["tree/a", "nope"], "fields": 0x7FF}),
                ("search", {"paths": ["tree"], "pattern": "x"}),
                ("readlink", {"path": "tree"}),
                ("download", {"items": [{"path": "tree/a"}, {"path": "nope"}]}),
                ("chown", {"paths": ["tree"], "user": "no-such-user", "group": ""})):
            with self.subTest(operation=operation, request=request):
                text = json.dumps({"cwd": self.dir, **request}).encode()
                here = self.hoq("call", operation, stdin=text)
                there = self.on(self.there, "call", operation, stdin=text)
                self.assertEqual((there.status, there.err), (here.status, here.err))
                self.assertEqual(json.loads(there.out), json.loads(here.out))

    def test_rights_are_the_nodes_to_give(self):
        refused = self.on(self.there, "mkdir", f"{self.dir}/new", name="reader")
        self.assertEqual((refused.status, self.exists("new")), (4, False), refused)
        self.done(self.on(self.there, "ls", self.dir, name="reader"))
        stranger = self.on(self.there, "ls", "/", name="stranger")
        self.assertEqual(stranger.status, 4, stranger)
        result = self.on(self.there, "call", "--rights", "read", "list", stdin=b'{"paths": ["/"]}')
        self.assert_fails(result, 2,
                          "--rights is for this node; another one knows what we may do")

    def test_ping_tells_who_is_there(self):
        told = json.loads(self.done(self.on(self.there, "--json", "ping", name="reader")))
        self.assertEqual((told["client"], told["rights"], len(told["eid"])), ("reader", ["read"], 32))
        self.assertGreater(told["roundTripMs"], 0)
        self.assertIn("known as    admin", self.done(self.on(self.there, "ping")))

    def test_a_node_that_is_not_there_or_not_trusted_is_told_with_status_3(self):
        with socket.create_server(("127.0.0.1", 0)) as closed:
            port = closed.getsockname()[1]
        nobody = self.hoq("--node", f"127.0.0.1:{port}", *self.files(), "ls", "/")
        self.assertEqual((nobody.status, nobody.err.count(b"\n")), (3, 1), nobody)
        self.assertIn(str(port).encode(), nobody.err)
        wrong = self.serve(("admin", "read"), node=self.certificate("elsewhere"), name="wrong.toml")
        untrusted = self.on(wrong, "ls", "/")
        self.assertEqual((untrusted.status, untrusted.err.count(b"\n")), (3, 1), untrusted)
        without = self.hoq("--node", self.there.address(), "ls", "/")
        self.assertEqual(without.status, 3, without)
        self.assertIn(b"--ca, --cert and --key", without.err)

    def test_a_unix_socket_knows_us_by_our_user(self):
        os.mkdir(self.path("run"), 0o755)
        path = os.path.join(self.dir, "run", "hoqd.sock")
        self.serve((f"uid:{os.geteuid()}", "read"), listen=f'["unix:{path}"]', name="unix.toml")
        result = self.hoq("ls", self.dir, env=environment(HOQ_NODE=f"unix:{path}"))
        self.assertIn("tree", self.done(result))


class Copies(Nodes):
    def target(self, path):
        return f"{self.there.address()}:{self.dir}/{path}"

    def test_a_tree_arrives_whole(self):
        for name, source, destination, arrived in (
                ("a path that is not there", "tree", "new", "new"),
                ("a directory", "tree", "", "tree"),
                ("the contents", "tree/.", "into", "into")):
            with self.subTest(name):
                os.makedirs(self.path("far/into"))
                target = f"far/{destination}".rstrip("/")
                self.done(self.hoq(*self.files(), "cp", "-R", source, self.target(target)))
                self.assertEqual(self.contents(f"far/{arrived}"), self.contents("tree"))
                left = set(os.listdir(self.path("far"))) - {b"into", os.fsencode(arrived)}
                self.assertEqual(left, set(), "no temporary directory is left")
                self.hoq("rm", "-r", "far")

    def test_files_follow_the_rules_of_cp(self):
        self.make("far/", "far/old=old")
        self.done(self.hoq(*self.files(), "cp", "tree/a", self.target("far/new")))
        self.assertEqual(self.contents("far")["new"], (b"one", 0o640))
        result = self.hoq(*self.files(), "cp", "tree/a", self.target("far/old"))
        self.assertEqual(result.status, 1, result)
        self.assertIn(b"Can't overwrite", result.err)
        self.done(self.hoq(*self.files(), "cp", "-f", "tree/a", self.target("far/old")))
        self.assertEqual(self.contents("far")["old"][0], b"one")
        result = self.hoq(*self.files(), "cp", "tree", self.target("far/x"))
        self.assert_fails(result, 1, '"tree" is a directory; -R copies it')
        self.make("link -> tree/a")
        result = self.hoq(*self.files(), "cp", "link", self.target("far/l"))
        self.assertEqual(result.status, 1, result)
        self.assertIn(b"Cannot copy link", result.err)
        self.assertFalse(self.exists("far/l"))
        result = self.hoq(*self.files(), "cp", "tree/a", "tree/sub/b", self.target("far/nodir"))
        self.assertEqual(result.status, 1, result)
        self.assertIn(b"is not a directory, as several items need", result.err)

    def test_a_link_to_a_directory_stands_for_it(self):
        self.make("holder/", "holder/old=old", "way -> far", "far -> holder")
        for force in ([], ["-f"]):
            with self.subTest(force=force):
                self.done(self.hoq(*self.files(), "cp", *force, "tree/a", self.target("way")))
                self.done(self.hoq(*self.files(), "cp", "-R", *force, "tree", self.target("way")))
                self.assertEqual(set(self.contents("holder")), {"old", "a", "tree", "tree/a",
                                                                "tree/empty", "tree/sub",
                                                                "tree/sub/b"})
                self.assertTrue(os.path.islink(self.path("way")))
                os.remove(self.path("holder/a"))

    def test_a_failed_tree_leaves_nothing(self):
        self.make("bad/", "bad/f=x", "bad/l -> f", "far/")
        result = self.hoq(*self.files(), "cp", "-R", "bad", self.target("far/bad"))
        self.assertEqual(result.status, 1, result)
        self.assertIn(b"Cannot copy link", result.err)
        self.assertEqual(os.listdir(self.path("far")), [])

    def test_from_node_to_node_the_data_goes_straight(self):
        other = self.serve(("admin", "read change"), name="other.toml")
        self.done(self.on(other, "-C", self.dir, "cp", "-R", "tree", self.target("straight")))
        self.assertEqual(self.contents("straight"), self.contents("tree"))
        self.make("far/")
        self.done(self.on(other, "-C", self.dir, "cp", "--to", self.there.address(), "tree/a",
                          f"{self.dir}/far"))
        self.assertEqual(self.contents("far"), {"a": (b"one", 0o640)})

    def test_contents_are_carried_as_the_configuration_says(self):
        size = 8 << 20
        with open(self.path("sparse"), "wb") as stream:
            stream.truncate(size)
        if os.stat(self.path("sparse")).st_blocks != 0:
            self.skipTest("files have no holes in this place")
        blocks = self.serve(("admin", "read change"), name="blocks.toml", top='engine = "blocks"')
        for daemon, name, least, most in ((self.there, "kernel", 0, 64),
                                          (blocks, "blocks", size // 512, 2 * size // 512)):
            self.done(self.on(daemon, "-C", self.dir, "cp", "sparse", name))
            self.assertEqual(os.stat(self.path(name)).st_size, size)
            self.assertIn(os.stat(self.path(name)).st_blocks, range(least, most + 1), name)

    def test_refusals_and_lost_nodes_have_their_status(self):
        self.make("far/")
        result = self.hoq(*self.files("reader"), "cp", "tree/a", self.target("far"))
        self.assertEqual((result.status, os.listdir(self.path("far"))), (4, []), result)
        with socket.create_server(("127.0.0.1", 0)) as closed:
            port = closed.getsockname()[1]
        result = self.hoq(*self.files(), "cp", "tree/a", f"127.0.0.1:{port}:/tmp")
        self.assertEqual(result.status, 3, result)

    def test_a_name_with_a_colon_is_local_where_it_says_so(self):
        self.make("f=x", "a:/")
        self.done(self.hoq("cp", "f", "./a:/b"))
        self.assertTrue(self.exists("a:/b"))


if __name__ == "__main__":
    main()
