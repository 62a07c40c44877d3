import base64
import json
import os
import unittest

from hoqtest import HoqTest

# Every byte that a name can have, alone and between letters, and names that options, formats,
# patterns or shells might take for their own.
NAMES = [bytes([byte]) for byte in range(1, 256) if bytes([byte]) not in (b"/", b".")]
NAMES += [b"a" + bytes([byte]) + b"z" for byte in range(1, 256) if byte != 0x2F]
NAMES += [b"-rf", b"--help", b"100%s%n", b"%%", b"$(x)", b"`x`", b"a b", b"...", b".hid", b" ",
          b"[a,b]", b"{}", b"~", b"\\", b"x" * 255, "\u65e5\u672c".encode(), b"\xc0\xaf"]


def text_of(value):
    return base64.b64decode(value["base64"]) if isinstance(value, dict) else value.encode()


class OddNames(HoqTest):
    def make_all(self):
        os.mkdir(self.path("d"))
        for name in NAMES:
            with open(self.path(b"d/" + name), "wb"):
                pass

    def test_they_are_listed_as_they_are(self):
        self.make_all()
        expected = b"".join(name + b"\n" for name in sorted({*NAMES, b".", b".."}))
        self.assertEqual(self.hoq("ls", "-a", "d").out, expected)

    def test_json_gives_them_back(self):
        self.make_all()
        lines = self.hoq("ls", "--json", "-aR", "d").out.splitlines()
        self.assertEqual([text_of(json.loads(line)["name"]) for line in lines],
                         sorted(set(NAMES)))
        self.assertEqual([text_of(json.loads(line)["path"]) for line in lines],
                         [b"d/" + name for name in sorted(set(NAMES))])

    def test_they_can_be_named(self):
        self.make_all()
        paths = [b"./" + name for name in set(NAMES)]
        result = self.hoq("stat", "--json", "-C", "d", "--", *paths)
        self.assertEqual((result.status, result.err), (0, b""))
        self.assertEqual([text_of(json.loads(line)["path"]) for line in result.out.splitlines()],
                         paths)
        self.assertEqual(self.hoq("rm", "-C", "d", "--", *set(NAMES)).status, 0)
        self.assertEqual(os.listdir(self.path("d")), [])
        self.assertEqual(self.hoq("mkdir", "-p", "-C", "d", "--", *set(NAMES)).status, 0)
        self.assertEqual(sorted(os.listdir(self.path(b"d"))), sorted(set(NAMES)))
        self.assertEqual(self.hoq("rm", "-r", "d").status, 0)
        self.assertFalse(self.exists("d"))

    def test_call_takes_and_gives_them(self):
        self.make_all()

        def value(name):
            try:
                return name.decode()
            except UnicodeDecodeError:
                return {"base64": base64.b64encode(name).decode()}
        names = sorted(set(NAMES))
        request = {"cwd": self.dir + "/d", "paths": [value(name) for name in names]}
        answer = self.call("stat", request)
        self.assertEqual([text_of(record["name"]) for record in answer["records"]], names)
        self.assertEqual(self.call("remove", request)["code"], 0)
        self.assertEqual(os.listdir(self.path("d")), [])

    def test_errors_name_them_as_they_are(self):
        result = self.hoq("rm", b"100%s%n\xff")
        self.assertEqual(result.status, 1)
        self.assertEqual(result.err, b'hoq: "' + self.path(b"100%s%n\xff") +
                         b'", Cannot get information: No such file or directory[2]\n')


if __name__ == "__main__":
    unittest.main()
