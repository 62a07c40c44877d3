import os
import shutil
import unittest

from hoqtest import BIN, HOQ, HoqTest, environment

PLUGIN = os.path.join(os.path.dirname(BIN), "lib", "libHOQFileManagerLocal.so")


class Plugins(HoqTest):
    def assert_refused(self, file, **popen):
        """One line that names the file; nothing else."""
        result = self.hoq("--plugin", file, "ls", **popen)
        self.assertEqual((result.status, result.out), (1, b""), result)
        self.assertEqual(result.err.count(b"\n"), 1, result)
        self.assertIn(os.fsencode(os.path.basename(file)), result.err)
        return result.err

    def test_a_plugin_can_be_named(self):
        self.make("f")
        self.assertEqual(self.lines("--plugin", PLUGIN, "ls"), ["f"])
        env = environment(HOQ_PLUGIN=PLUGIN)
        self.assertEqual(self.hoq("ls", env=env).out, b"f\n")
        shutil.copy(PLUGIN, self.dir)
        self.assertEqual(self.hoq("--plugin", os.path.basename(PLUGIN), "ls", "f").out, b"f\n")

    def test_the_option_goes_before_the_environment(self):
        self.make("f")
        env = environment(HOQ_PLUGIN="/nope/libNope.so")
        self.assertEqual(self.hoq("--plugin", PLUGIN, "ls", env=env).out, b"f\n")
        self.assertEqual(self.hoq("ls", env=env).status, 1)

    def test_what_is_no_plugin_is_refused_in_one_line(self):
        self.make("libText.so=this is no library", "libEmpty.so", "libDir.so/")
        for name in ("libText.so", "libEmpty.so", "libDir.so", "libMissing.so", "plain"):
            with self.subTest(name=name):
                self.assert_refused(self.path(name).decode())

    def test_a_library_that_is_no_plugin_of_this_version_says_why(self):
        ROWS = (
            ("WithoutInit", b"exports no initWithoutInit"),
            ("WithoutFini", b"exports no finiWithoutFini"),
            ("OtherVersion", b"built for version 9.12 of the framework, this is 0.1"),
            ("Throwing", b"initThrowing failed: no?room"),
        )
        for name, why in ROWS:
            with self.subTest(name=name):
                library = os.path.join(os.path.dirname(BIN), "tests", "plugins", f"lib{name}.so")
                self.assertIn(why, self.assert_refused(library))

    def test_a_plugin_under_another_name_lacks_that_names_entry_points(self):
        shutil.copy(PLUGIN, self.path("libOther.so"))
        self.assertIn(b"initOther", self.assert_refused(self.path("libOther.so").decode()))

    def test_a_program_without_its_plugin_says_where_it_looked(self):
        os.makedirs(self.path("bin"))
        shutil.copy(HOQ, self.dir + "/bin")
        env = environment(LD_LIBRARY_PATH=os.path.join(os.path.dirname(BIN), "lib"))
        program = os.path.join(self.dir, "bin", "hoq")
        result = self.hoq("ls", env=env, executable=program)
        self.assert_fails(result, 1, "cannot find the plugin libHOQFileManagerLocal.so beside "
                          f"{self.dir}/bin; name it with --plugin FILE")

    def test_an_installed_program_finds_its_plugin(self):
        os.makedirs(self.path("bin"))
        os.makedirs(self.path("lib/hoq/plugins"))
        shutil.copy(HOQ, self.dir + "/bin")
        shutil.copy(PLUGIN, self.dir + "/lib/hoq/plugins")
        env = environment(LD_LIBRARY_PATH=os.path.join(os.path.dirname(BIN), "lib"))
        program = os.path.join(self.dir, "bin", "hoq")
        result = self.hoq("ls", env=env, executable=program)
        self.assertEqual((result.status, result.out), (0, b"bin\nlib\n"), result)


if __name__ == "__main__":
    unittest.main()
