import base64
import grp
import os
import pwd
import unittest

from hoqtest import HoqTest

OPERATIONS = ("list, stat, search, remove, mkdir, chmod, chown, copy, copyToNode, move, link, "
              "readlink, upload, download")
RECORD_KEYS = ("name type permissions user uid group gid size mtime nlink linkTarget contentType "
               "valid children").split()
PLACEHOLDER = {"name": ".", "type": 0, "permissions": 0, "user": "", "uid": 0, "group": "",
               "gid": 0, "size": 0, "mtime": 0, "nlink": 0, "linkTarget": "", "contentType": "",
               "valid": 0, "children": []}


class Call(HoqTest):
    def setUp(self):
        super().setUp()
        self.make("d/", "d/f=hello", "d/e/", "d/e/g=12", "d/l -> f")

    def request(self, **keys):
        return {"cwd": self.dir, **keys}

    def test_list_answers_placeholders_then_the_entries(self):
        answer = self.call("list", self.request(paths=["d"], fields=0x7FF))
        self.assertEqual((answer["code"], answer["events"], answer["answered"]), (0, [], True))
        self.assertNotIn("errorText", answer)
        records = answer["records"]
        self.assertEqual(records[0], PLACEHOLDER)
        self.assertEqual(records[1], {**PLACEHOLDER, "name": ".."})
        self.assertEqual([record["name"] for record in records[2:4]], [".", ".."])
        self.assertEqual(sorted(record["name"] for record in records[4:]), ["e", "f", "l"])
        for record in records:
            self.assertEqual(sorted(record), sorted(RECORD_KEYS))
        file = next(record for record in records if record["name"] == "f")
        status = os.stat(self.path("d/f"))
        self.assertEqual((file["type"], file["size"], file["uid"], file["mtime"], file["valid"]),
                         (8, 5, status.st_uid, int(status.st_mtime), 0x5FF))
        link = next(record for record in records if record["name"] == "l")
        self.assertEqual((link["type"], link["linkTarget"], link["valid"]), (10, "f", 0x7FF))

    def test_list_nests_children_and_sums(self):
        answer = self.call("list", self.request(paths=["d"], options=0x12))
        directory = next(record for record in answer["records"] if record["name"] == "e")
        self.assertEqual([record["name"] for record in directory["children"]], [".", "..", "g"])
        self.assertEqual(directory["size"], 2)

    def test_the_working_directory_is_the_requests_own(self):
        request = {"cwd": self.dir + "/d", "paths": ["f"], "fields": 1}
        for arguments in ([], ["-C", "/"]):
            answer = self.call("stat", request, *arguments)
            self.assertEqual([record["name"] for record in answer["records"]], ["f"])
        self.assertEqual(self.call("list", {"paths": ["d"]}, "-C", "/")["code"], 0)

    def test_filters_tell_none_from_an_empty_list(self):
        names = lambda answer: [record["name"] for record in answer["records"][2:]]
        for filters in ({}, {"filters": None}):
            self.assertIn(".", names(self.call("list", self.request(paths=["d"], **filters))))
        self.assertEqual(sorted(names(self.call("list", self.request(paths=["d"], filters=[])))),
                         ["e", "f", "l"])
        answer = self.call("list", self.request(paths=["d"], filters=[{"valid": 1, "type": 8}]))
        self.assertEqual(sorted(names(answer)), ["e", "f"])

    def test_errors_come_as_events(self):
        answer = self.call("list", self.request(paths=["d/f", "d"]))
        self.assertEqual(answer["code"], 0, "the last path's")
        answer = self.call("list", self.request(paths=["d/f"]), status=1)
        self.assertEqual(answer["code"], 2056)
        self.assertEqual(answer["events"], [{"error": {
            "code": -1, "message": f'"{self.dir}/d/f", Cannot list/stat non directory item'}}])
        self.assertEqual(len(answer["records"]), 2)

    def test_stat_of_what_is_missing_is_an_empty_answer(self):
        answer = self.call("stat", self.request(paths=["d/nope"]))
        self.assertEqual((answer["code"], answer["events"], answer["records"]), (0, [], []))

    def test_no_path_is_answered_with_the_code_of_nothing_done(self):
        answer = self.call("list", self.request(paths=[]), status=1)
        self.assertEqual((answer["code"], answer["answered"], answer["records"]), (-1, True, []))

    def test_stat_of_the_root(self):
        answer = self.call("stat", {"cwd": "/", "paths": [""], "fields": 1})
        self.assertEqual([record["type"] for record in answer["records"]], [4])

    def test_search_is_not_provided(self):
        answer = self.call("search", self.request(paths=["d"], pattern="f", limit=3), status=1)
        self.assertEqual(answer, {"code": 424, "events": []})

    def test_remove_and_mkdir_change_things(self):
        request = self.request(paths=["n/a/b", "n/c"], options=2, mode=0o40700)
        self.assertEqual(self.call("mkdir", request), {"code": 0, "events": []})
        self.assertEqual(os.stat(self.path("n/c")).st_mode & 0o777, 0o755, "mode is ignored")
        request = self.request(paths=["n"], options=2)
        self.assertEqual(self.call("remove", request), {"code": 0, "events": []})
        self.assertFalse(self.exists("n"))
        answer = self.call("remove", self.request(paths=["d/f", "d/nope", "d/l"]), status=1)
        self.assertEqual(answer["code"], 2056)
        self.assertEqual(len(answer["events"]), 1)
        self.assertFalse(self.exists("d/f"))
        self.assertTrue(self.exists("d/l"), "what follows a failed path stays")

    def test_credentials_do_not_change_what_is_answered(self):
        credentials = {"name": "n", "uid": 65534, "gid": 65534, "groups": ["g"], "gids": [1],
                       "umask": 0}
        answer = self.call("stat", self.request(paths=["d/f"], credentials=credentials, fields=1))
        self.assertEqual(len(answer["records"]), 1)

    def test_refused_rights_answer_414_and_nothing_happens(self):
        paths = ["d/f"]
        cases = [
            ("list", {}, {"both": 0, "read": 0, "change": 4, "none": 4}),
            ("stat", {}, {"both": 0, "read": 0, "change": 4, "none": 4}),
            ("search", {"pattern": ""}, {"both": 1, "read": 1, "change": 4, "none": 4}),
            ("mkdir", {}, {"read": 4, "none": 4}),
            ("remove", {}, {"read": 4, "none": 4, "change": 0}),
        ]
        for operation, more, statuses in cases:
            for rights, status in statuses.items():
                with self.subTest(operation=operation, rights=rights):
                    target = {"list": ["d"], "mkdir": ["new"]}.get(operation, paths)
                    answer = self.call(operation, self.request(paths=target, **more), "--rights",
                                       rights, status=status)
                    self.assertEqual(answer["code"] == 414, status == 4)
                    if status == 4:
                        self.assertEqual(answer["events"], [])
                        if operation in ("list", "stat"):
                            self.assertEqual((answer["answered"], answer["records"]), (False, []))
                        self.assertTrue(self.exists("d/f"))
                        self.assertFalse(self.exists("new"))

    def test_names_that_are_not_utf8_go_both_ways(self):
        name = b"d/\xff\x80"
        with open(self.path(name), "wb"):
            pass
        encoded = {"base64": base64.b64encode(name).decode()}
        answer = self.call("stat", self.request(paths=[encoded]))
        self.assertEqual(answer["records"][0]["name"], encoded)
        self.assertEqual(self.call("remove", self.request(paths=[encoded]))["code"], 0)
        answer = self.call("remove", self.request(paths=[encoded]), status=1)
        self.assertIn("base64", answer["events"][0]["error"]["message"])

    def test_a_large_tree_is_streamed(self):
        os.mkdir(self.path("wide"))
        for number in range(5000):
            with open(self.path(f"wide/file{number}"), "wb"):
                pass
        answer = self.call("list", self.request(paths=["wide"], fields=0x7FF))
        self.assertEqual(len(answer["records"]), 5004)


class Changes(HoqTest):
    """Operations that change modes, owners, places and links."""

    def setUp(self):
        super().setUp()
        self.make("d/", "d/f=hello", "d/l -> f", "g=old")

    def ask(self, operation, *arguments, status=0, **keys):
        return self.call(operation, {"cwd": self.dir, **keys}, *arguments, status=status)

    def mode(self, name):
        return os.stat(self.path(name)).st_mode & 0o7777

    def test_chmod(self):
        self.assertEqual(self.ask("chmod", paths=["d/f"], mode=0o4751), {"code": 0, "events": []})
        self.assertEqual(self.mode("d/f"), 0o4751)
        self.ask("chmod", paths=["d"], mode=0o700, options=2)
        self.assertEqual((self.mode("d"), self.mode("d/f")), (0o700, 0o700))
        answer = self.ask("chmod", paths=["nope", "g"], mode=0, status=1)
        self.assertEqual((answer["code"], len(answer["events"])), (2056, 1))
        self.assertNotEqual(self.mode("g"), 0, "what follows a failed path stays")

    def test_chown_takes_names_or_ids(self):
        uid, gid = os.geteuid(), os.getegid()
        user = pwd.getpwuid(uid).pw_name
        for owner in ({"user": user, "group": ""}, {"uid": uid, "gid": gid},
                      {"user": user, "group": grp.getgrgid(gid).gr_name},
                      {"uid": 4294967295, "gid": 4294967295}):
            with self.subTest(owner=owner):
                self.assertEqual(self.ask("chown", paths=["d"], options=2, **owner),
                                 {"code": 0, "events": []})
        answer = self.ask("chown", paths=["g"], user="no-such-user", group="", status=1)
        self.assertEqual((answer["code"], len(answer["events"])), (-1, 1))
        if uid == 0:
            self.ask("chown", paths=["g"], uid=4294967294, gid=7)
            status = os.stat(self.path("g"))
            self.assertEqual((status.st_uid, status.st_gid), (4294967294, 7))

    def test_copy_tells_of_each_item_before_it_is_touched(self):
        answer = self.ask("copy", paths=["d"], destination="new", options=2)
        self.assertEqual(answer["code"], 0)
        self.assertEqual(answer["events"][0], {"progress": {
            "status": self.dir + "/d", "operation": "", "percent": 0, "parameters": {}}})
        self.assertEqual(sorted(event["progress"]["status"] for event in answer["events"]),
                         [self.dir + name for name in ("/d", "/d/f", "/d/l")])
        self.assertEqual(os.readlink(self.path("new/l")), b"f")

    def test_copy_and_move_keep_their_bare_rules(self):
        self.assertEqual(self.ask("copy", paths=["d"], destination="empty")["code"], 0)
        self.assertEqual(os.listdir(self.path("empty")), [], "not recursive: the directory alone")
        for operation in ("copy", "move"):
            answer = self.ask(operation, paths=["d/f"], destination="g", status=1)
            self.assertEqual((answer["code"], answer["events"][-1]), (2056, {"error": {
                "code": 2055, "message": f'Can\'t overwrite "{self.dir}/g" with "{self.dir}/d/f" '
                "file exists"}}))
            answer = self.ask(operation, paths=["d/f", "d/l"], destination="g", status=1)
            self.assertEqual((answer["code"], answer["events"]), (-1, [{"error": {
                "code": -1, "message": f"Target '{self.dir}/g' is not directory"}}]))
        self.assertEqual(self.ask("move", paths=["d/f"], destination="g", options=1)["code"], 0)
        self.assertFalse(self.exists("d/f"))
        self.assertEqual(self.ask("move", paths=["d"], destination="moved"),
                         {"code": 0, "events": []}, "renamed as a whole, untold")

    def test_link_and_readlink(self):
        self.assertEqual(self.ask("link", target="d/../g", name="h"), {"code": 0, "events": []})
        self.assertTrue(os.path.samefile(self.path("g"), self.path("h")))
        self.assertEqual(self.ask("link", target="a/b", name="s", options=64)["code"], 0)
        self.assertEqual(self.ask("readlink", path="s"),
                         {"code": 0, "events": [], "target": self.dir + "/a/b"})
        answer = self.ask("link", target="g", name="h", status=1)
        self.assertEqual(answer, {"code": -1, "events": [{"error": {
            "code": -1, "message": '"g", File exists'}}]})
        answer = self.ask("readlink", path="g", status=1)
        self.assertEqual(answer, {"code": -1, "target": "", "events": [{"error": {
            "code": -1, "message": '"g", Invalid argument'}}]})
        os.symlink(b"\xff", self.path("odd"))
        self.assertEqual(self.ask("readlink", path="odd")["target"], {"base64": "/w=="})

    def test_refused_rights_answer_414_and_nothing_happens(self):
        rows = [("chmod", {"paths": ["g"], "mode": 0}),
                ("copy", {"paths": ["g"], "destination": "n"}),
                ("copyToNode", {"paths": ["g"], "node": "local:", "destination": "n"}),
                ("chown", {"paths": ["g"], "uid": 1, "gid": 1}),
                ("chown", {"paths": ["g"], "user": "root", "group": ""}),
                ("move", {"paths": ["g"], "destination": "n"}),
                ("link", {"target": "g", "name": "n"})]
        for operation, keys in rows:
            for rights in ("read", "none"):
                with self.subTest(operation=operation, rights=rights):
                    answer = self.ask(operation, "--rights", rights, status=4, **keys)
                    self.assertEqual(answer, {"code": 414, "events": []})
                    self.assertEqual(sorted(os.listdir(self.dir)), ["d", "g"])
        for rights, status in (("read", 0), ("both", 0), ("change", 4), ("none", 4)):
            answer = self.ask("readlink", "--rights", rights, status=status, path="d/l")
            self.assertEqual((answer["code"], answer["target"]),
                             (0, "f") if status == 0 else (414, ""))


class CopyToNode(HoqTest):
    """Copies to a node, which here is the program's own process."""

    def ask(self, paths, destination, *arguments, status=0, node="local:", **keys):
        request = {"cwd": self.dir, "paths": paths, "node": node, "destination": destination}
        return self.call("copyToNode", {**request, **keys}, *arguments, status=status)

    def errors(self, answer):
        self.assertEqual(answer["code"], 0, "failures are told item by item")
        return [event["error"] for event in answer["events"] if "error" in event]

    def test_a_tree_arrives_with_its_modes(self):
        self.make("d/", "d/e/", "d/e/f=hello", "d/void", "t/")
        os.chmod(self.path("d/e"), 0o750)
        os.chmod(self.path("d/e/f"), 0o640)
        with open(self.path("d/large"), "wb") as file:
            file.write(os.urandom(3_000_001))
        answer = self.ask(["d"], "t", options=2)
        self.assertEqual(self.errors(answer), [])
        self.assertNotIn("errorText", answer)
        self.assertEqual(sorted(event["progress"]["status"] for event in answer["events"]),
                         [self.dir + name for name in ("/d", "/d/e", "/d/e/f", "/d/large",
                                                       "/d/void")])
        for name in ("e/f", "large", "void"):
            with open(self.path("d/" + name), "rb") as one, \
                    open(self.path("t/d/" + name), "rb") as other:
                self.assertTrue(one.read() == other.read(), name)
        self.assertEqual(os.stat(self.path("t/d/e")).st_mode & 0o777, 0o750)
        self.assertEqual(os.stat(self.path("t/d/e/f")).st_mode & 0o777, 0o640)

    def test_a_mode_is_for_every_item(self):
        self.make("f=1")
        self.assertEqual(self.errors(self.ask(["f"], "g", mode=0o600)), [])
        self.assertEqual(os.stat(self.path("g")).st_mode & 0o777, 0o600)

    def test_failures_are_events_and_the_rest_stays(self):
        self.make("f=1", "g=2", "l -> f", "d/")
        os.mkfifo(self.path("p"))
        rows = [("f", "g", 0, "Can't overwrite \"@/g\""), ("l", "n", 0, "Cannot copy link"),
                ("l", "g", 5, "Cannot copy link"), ("p", "g", 1, "Cannot copy special file"),
                ("f", "f", 1, "Cannot copy file onto itself"),
                ("f", "no/n", 0, "Cannot open file to write"),
                ("d", "no/n", 0, "Cannot create directory")]
        for source, target, options, error in rows:
            with self.subTest(source=source, target=target, options=options):
                [told] = self.errors(self.ask([source], target, options=options))
                self.assertLess(told["code"], 0)
                self.assertEqual(told["message"], f'"{self.dir}/{source}", '
                                 + error.replace("@", self.dir))
        self.assertEqual(sorted(os.listdir(self.dir)), ["d", "f", "g", "l", "p"])
        with open(self.path("g"), encoding="utf-8") as file:
            self.assertEqual(file.read(), "2")

    def test_an_overwritten_file_is_new(self):
        self.make("f=1", "g=old")
        before = os.stat(self.path("g")).st_ino
        with open(self.path("g"), "rb"):  # so that its number stays taken
            self.assertEqual(self.errors(self.ask(["f"], "g", options=1)), [])
        self.assertNotEqual(os.stat(self.path("g")).st_ino, before)

    def test_a_directory_is_not_copied_into_itself_without_end(self):
        self.make("d/")
        [told] = self.errors(self.ask(["d"], "d", options=2))
        self.assertEqual(told["message"],
                         f'"{self.dir}/d/d", Cannot copy directory into itself')

    def test_a_node_is_needed(self):
        self.make("f=1")
        [told] = self.errors(self.ask(["f"], "g", node=""))
        self.assertLess(told["code"], 0)
        self.assertFalse(self.exists("g"))


def encoded(data):
    return base64.b64encode(data).decode()


class Contents(HoqTest):
    """upload and download."""

    def ask(self, operation, items, *arguments, status=0, **keys):
        return self.call(operation, {"cwd": self.dir, "items": items, **keys}, *arguments,
                         status=status)

    def read(self, name):
        with open(self.path(name), "rb") as file:
            return file.read()

    def test_what_is_uploaded_comes_back(self):
        data = bytes(range(256)) * 5
        answer = self.ask("upload", [{"path": "a", "size": len(data), "data": encoded(data)}],
                          mode=0o640)
        self.assertEqual(sorted(answer), ["code", "events"])
        self.assertEqual(answer["code"], 0)
        self.assertEqual(self.read("a"), data)
        self.assertEqual(os.stat(self.path("a")).st_mode & 0o7777, 0o640)
        answer = self.ask("download", [{"path": "a"}, {"path": "a", "size": 3, "offset": 256}])
        self.assertEqual(answer["items"], [
            {"data": encoded(data), "size": 1280, "offset": 1280},
            {"data": encoded(b"\0\1\2"), "size": 3, "offset": 259}])

    def test_progress_has_its_keys_in_order(self):
        answer = self.ask("upload", [{"path": "a", "size": 2, "data": encoded(b"xy")}])
        self.assertEqual([event["progress"]["status"] for event in answer["events"]],
                         ["starting", "a"])
        last = answer["events"][-1]["progress"]
        self.assertEqual((last["operation"], last["percent"]), ("upload", 100))
        self.assertEqual(list(last["parameters"].items()), [
            ("total_progress_percent", 100), ("total_progress_bytes", 2), ("total_bytes", 2),
            ("total_files", 1), ("current_file_id", 1), ("current_file_src", ""),
            ("current_file_dst", "a"), ("current_file_size", 2),
            ("current_progress_percent", 100), ("current_progress_bytes", 2)])

    def test_a_new_file_has_every_right_less_the_umask(self):
        self.ask("upload", [{"path": "a", "size": 0, "data": ""}])
        self.assertEqual(os.stat(self.path("a")).st_mode & 0o7777, 0o755)

    def test_a_local_file_is_sent(self):
        data = os.urandom(3_000_000)
        with open(self.path("local"), "wb") as file:
            file.write(data)
        item = {"path": "sent", "size": len(data), "file": self.dir + "/local"}
        answer = self.ask("upload", [item])
        self.assertEqual(answer["code"], 0)
        self.assertEqual(answer["events"][0]["progress"]["parameters"]["current_file_src"],
                         self.dir + "/local")
        self.assertEqual(self.read("sent"), data)
        answer = self.ask("upload", [{**item, "size": len(data) + 1}], options=1, status=1)
        self.assertEqual(answer["events"][-1]["error"],
                         {"code": -1, "message": "Cannot read data from client"})
        answer = self.ask("upload", [{**item, "path": "none", "file": "/no/such"}], status=1)
        self.assertEqual(answer["events"], [{"error": {
            "code": -1,
            "message": 'Cannot read file "/no/such": No such file or directory [2]'}}])
        self.assertFalse(self.exists("none"))

    def test_items_are_shown_as_they_were_left(self):
        self.make("a=hello", "c=there")
        answer = self.ask("download", [{"path": "a"}, {"path": "b", "size": 7, "offset": 1},
                                       {"path": "c"}], status=1)
        self.assertEqual(answer["code"], -1)
        message = f'Cannot open source file "{self.dir}/b": No such file or directory [2]'
        self.assertEqual(answer["events"][-1], {"error": {"code": -1, "message": message}})
        self.assertEqual(answer["errorText"], message)
        self.assertEqual(answer["items"], [{"data": encoded(b"hello"), "size": 5, "offset": 5},
                                           {"data": "", "size": 7, "offset": 1},
                                           {"data": "", "size": 0, "offset": 0}])

    def test_an_empty_list_answers_the_code_of_nothing_done(self):
        self.assertEqual(self.ask("upload", [], status=1), {"code": -1, "events": []})
        self.assertEqual(self.ask("download", [], status=1),
                         {"code": -1, "events": [], "items": []})

    def test_absurd_sizes_are_told_and_nothing_hangs(self):
        self.make("f=x")
        for size in (2 ** 63, 2 ** 64 - 2, 2 ** 64 - 1):
            answer = self.ask("upload", [{"path": "n", "size": size, "data": "eA=="}], options=1,
                              status=1)
            self.assertEqual(answer["events"][-1]["error"]["message"],
                             "Cannot read data from client")
        answer = self.ask("download", [{"path": "f", "size": 2 ** 64 - 2}], status=1)
        self.assertIn("is to big to be sent at once", answer["errorText"])
        answer = self.ask("download", [{"path": "f", "size": 2 ** 64 - 1}])
        self.assertEqual(answer["items"], [{"data": "eA==", "size": 1, "offset": 1}])

    def test_uploaded_files_are_the_requesters(self):
        answer = self.ask("upload", [{"path": "a", "size": 0, "data": ""}],
                          credentials={"name": "no such user"}, status=1)
        self.assertEqual(answer["code"], -1)
        self.assertTrue(self.exists("a"))
        if os.geteuid() == 0:
            self.ask("upload", [{"path": "b", "size": 0, "data": ""}],
                     credentials={"uid": 4242, "gid": 4343})
            status = os.stat(self.path("b"))
            self.assertEqual((status.st_uid, status.st_gid), (4242, 4343))

    def test_refused_rights_answer_414_and_nothing_happens(self):
        self.make("f=x")
        for rights in ("read", "none"):
            answer = self.ask("upload", [{"path": "n", "size": 0, "data": ""}], "--rights", rights,
                              status=4)
            self.assertEqual(answer, {"code": 414, "events": []})
        for rights in ("change", "none"):
            answer = self.ask("download", [{"path": "f"}], "--rights", rights, status=4)
            self.assertEqual(answer, {"code": 414, "events": [],
                                      "items": [{"data": "", "size": 0, "offset": 0}]})
        self.assertEqual(os.listdir(self.dir), ["f"])


class BadInput(HoqTest):
    """What is not understood: status 2, one line on standard error, nothing done."""

    ROWS = [
        # operation, request
        ("remove", ""),
        ("remove", "{"),
        ("remove", "[]"),
        ("remove", "null"),
        ("remove", '{"paths": ["f"]} {}'),
        ("remove", '{"paths": ["f"],}'),
        ("remove", "{}"),
        ("remove", '{"path": ["f"]}'),
        ("remove", '{"paths": ["f"], "fields": 1}'),
        ("remove", '{"paths": ["f"], "paths": ["f"]}'),
        ("remove", '{"paths": "f"}'),
        ("remove", '{"paths": ["f", 1]}'),
        ("remove", '{"paths": ["f", null]}'),
        ("remove", '{"paths": ["f", "a\\u0000b"]}'),
        ("remove", '{"paths": ["f", {"base64": "AA=="}]}'),
        ("remove", '{"paths": ["f", {"base64": "Zg"}]}'),
        ("remove", '{"paths": ["f", {"base64": "Zg==", "x": 1}]}'),
        ("remove", '{"paths": ["f"], "options": "2"}'),
        ("remove", '{"paths": ["f"], "options": 2.0}'),
        ("remove", '{"paths": ["f"], "options": null}'),
        ("remove", '{"paths": ["f"], "options": 2147483648}'),
        ("remove", '{"paths": ["f"], "cwd": 1}'),
        ("remove", '{"paths": ["f"], "cwd": "a\\u0000"}'),
        ("remove", '{"paths": ["f"], "credentials": null}'),
        ("remove", '{"paths": ["f"], "credentials": {"uid": -1}}'),
        ("remove", '{"paths": ["f"], "credentials": {"shell": "x"}}'),
        ("list", '{"paths": ["."], "fields": -1}'),
        ("list", '{"paths": ["."], "filters": {}}'),
        ("list", '{"paths": ["."], "filters": [{"size": 1}]}'),
        ("list", '{"paths": ["."], "filters": [{"uid": 4294967296}]}'),
        ("stat", '{"paths": ["."], "filters": []}'),
        ("search", '{"paths": ["."]}'),
        ("search", '{"paths": ["."], "pattern": "x", "limit": 9223372036854775808}'),
        ("mkdir", '{"paths": ["new"], "mode": null}'),
        ("mkdir", '{"paths": ["new"], "mode": 4294967295}'),
        ("chmod", '{"paths": ["f"]}'),
        ("chmod", '{"paths": ["f"], "mode": "755"}'),
        ("chmod", '{"paths": ["f"], "mode": 2147483648}'),
        ("chmod", '{"paths": ["f"], "mode": 0, "user": "root"}'),
        ("chown", '{"paths": ["f"]}'),
        ("chown", '{"paths": ["f"], "user": "root"}'),
        ("chown", '{"paths": ["f"], "group": "root"}'),
        ("chown", '{"paths": ["f"], "uid": 0}'),
        ("chown", '{"paths": ["f"], "gid": 0}'),
        ("chown", '{"paths": ["f"], "user": "root", "gid": 0}'),
        ("chown", '{"paths": ["f"], "uid": 0, "group": "root"}'),
        ("chown", '{"paths": ["f"], "user": "root", "group": "", "uid": 0, "gid": 0}'),
        ("chown", '{"paths": ["f"], "user": 0, "group": 0}'),
        ("chown", '{"paths": ["f"], "uid": -1, "gid": 0}'),
        ("chown", '{"paths": ["f"], "uid": 0, "gid": 4294967296}'),
        ("chown", '{"paths": ["f"], "uid": 0.0, "gid": 0}'),
        ("copy", '{"paths": ["f"]}'),
        ("copy", '{"paths": ["f"], "destination": ["g"]}'),
        ("copy", '{"paths": ["f"], "destination": null}'),
        ("copy", '{"paths": "f", "destination": "g"}'),
        ("copy", '{"paths": ["f"], "destination": "g\\u0000"}'),
        ("copyToNode", '{"paths": ["f"], "destination": "g"}'),
        ("copyToNode", '{"paths": ["f"], "node": "local:"}'),
        ("copyToNode", '{"node": "local:", "destination": "g"}'),
        ("copyToNode", '{"paths": ["f"], "node": 1, "destination": "g"}'),
        ("copyToNode", '{"paths": ["f"], "node": "a\\u0000", "destination": "g"}'),
        ("copyToNode", '{"paths": ["f"], "node": "local:", "destination": "g", "mode": "755"}'),
        ("move", '{"destination": "g"}'),
        ("move", '{"paths": ["f"], "destination": "g", "mode": 0}'),
        ("link", '{"target": "f"}'),
        ("link", '{"name": "g"}'),
        ("link", '{"target": "f", "name": 1}'),
        ("link", '{"target": "f", "name": "g", "paths": []}'),
        ("readlink", '{"paths": ["f"]}'),
        ("readlink", '{"path": 1}'),
        ("readlink", '{"path": "f", "target": ""}'),
        ("upload", "{}"),
        ("upload", '{"items": [{"path": "new", "size": 1}]}'),
        ("upload", '{"items": [{"path": "new", "data": "eA=="}]}'),
        ("upload", '{"items": [{"size": 1, "data": "eA=="}]}'),
        ("upload", '{"items": [{"path": "new", "size": 1, "data": "eA"}]}'),
        ("upload", '{"items": [{"path": "new", "size": -1, "data": "eA=="}]}'),
        ("upload", '{"items": [{"path": "new", "size": 18446744073709551616, "data": ""}]}'),
        ("upload", '{"items": [{"path": "new", "size": 1, "data": "eA==", "file": "f"}]}'),
        ("upload", '{"items": [{"path": "new", "size": 0, "data": ""}], "mode": "755"}'),
        ("upload", '{"items": [{"path": "new", "size": 0, "data": ""}, {"path": "x"}]}'),
        ("upload", '{"paths": ["f"]}'),
        ("download", '{"items": "f"}'),
        ("download", '{"items": [{"path": "f", "data": ""}]}'),
        ("download", '{"items": [{"path": "f", "size": "1"}]}'),
        ("download", '{"items": [{"path": "f", "offset": 9223372036854775808}]}'),
        ("download", '{"items": [{"path": "f"}], "mode": 0}'),
        ("chop", '{"paths": ["f"]}'),
    ]

    def test_nothing_is_done(self):
        self.make("f")
        for operation, request in self.ROWS:
            with self.subTest(operation=operation, request=request):
                result = self.hoq("call", operation, stdin=request.encode())
                self.assertEqual((result.status, result.out), (2, b""), result)
                self.assertEqual(result.err.count(b"\n"), 1, result)
                self.assertTrue(result.err.startswith(b"hoq: "), result)
                self.assertEqual(os.listdir(self.dir), ["f"])

    def test_bytes_that_are_not_utf8_are_refused_readably(self):
        result = self.hoq("call", "remove", stdin=b'{"paths": ["\xff"]}')
        self.assertEqual((result.status, result.out), (2, b""), result)
        result.err.decode("ascii")

    def test_the_operation_is_one(self):
        for arguments in ([], ["list", "stat"]):
            self.assert_fails(self.hoq("call", *arguments), 2,
                              f"call takes one operation: {OPERATIONS}")
        self.assert_fails(self.hoq("call", "lst"), 2,
                          f'unknown operation "lst"; there are {OPERATIONS}')

    def test_rights_are_known_words(self):
        self.assert_fails(self.hoq("call", "list", "--rights", "write"), 2,
                          '--rights takes both, read, change or none, not "write"')


if __name__ == "__main__":
    unittest.main()
