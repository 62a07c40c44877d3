"""What another project gets from an installed hoq, wherever it is installed."""

import os
import pathlib
import shutil
import subprocess
import tempfile
import unittest

import repository

CONSUMER = r"""
#include <cstdio>

#include <hoq/HOQFiler.h>
#include <hoq/HOQLibFunctionality.h>
#include <hoq/HOQFunctionality.h>
#include <hoq/HOQPluginLoader.h>

int main(int argc, char** argv) {
  HOQ::HOQPluginLoader loader;
  const std::string failure = argc == 2 ? loader.load(argv[1]) : "usage: consumer PLUGIN";
  if (!failure.empty()) {
    std::fprintf(stderr, "%s\n", failure.c_str());
    return 1;
  }
  auto& filers = HOQ::HOQFunctionality<HOQ::HOQLibFunctionality>::kit().getFilerMultiplexer();
  std::puts(filers.findLocalFactory("") ? "a filer" : "no filer");
}
"""

PROJECT = """
cmake_minimum_required(VERSION 3.22)
project(consumer LANGUAGES CXX)
set(CMAKE_CXX_STANDARD 20)
find_package(hoq 0.1 REQUIRED)
add_executable(consumer consumer.cpp)
target_link_libraries(consumer PRIVATE hoq::framework)
file(WRITE ${CMAKE_BINARY_DIR}/plugin-dir ${hoq_PLUGIN_DIR})
"""

PLUGIN = "libHOQFileManagerLocal.so"


def run(*command, **more):
    # Nothing of the build may help the installed programs to find anything.
    environment = {name: value for name, value in os.environ.items()
                   if name not in ("LD_LIBRARY_PATH", "HOQ_PLUGIN", "HOQ_NODE")}
    environment.update(more.pop("env", {}))
    done = subprocess.run(list(map(str, command)), text=True, env=environment,
                          stdout=subprocess.PIPE, stderr=subprocess.STDOUT, **more)
    if done.returncode != 0:
        raise AssertionError(f"{command}: status {done.returncode}\n{done.stdout}")
    return done.stdout


class InstallTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        place = tempfile.TemporaryDirectory()
        cls.addClassCleanup(place.cleanup)
        cls.place = pathlib.Path(place.name)
        first = cls.place / "first"
        run("cmake", "--install", repository.BUILD, "--prefix", first)
        # What works after the whole was moved contains no path of where it was.
        cls.prefix = cls.place / "moved"
        shutil.move(first, cls.prefix)
        (cls.place / "consumer.cpp").write_text(CONSUMER)
        (cls.place / "CMakeLists.txt").write_text(PROJECT)

    def find(self, name):
        found = list(self.prefix.rglob(name))
        self.assertEqual(len(found), 1, name)
        return found[0]

    def test_the_installed_program_lists_with_the_installed_plugin(self):
        (self.place / "listed").mkdir()
        (self.place / "listed/a-file").touch()
        self.assertEqual(run(self.prefix / "bin/hoq", "ls", self.place / "listed"), "a-file\n")

    def test_a_project_finds_the_framework_with_cmake_and_loads_the_plugin(self):
        build = self.place / "build"
        run("cmake", "-S", self.place, "-B", build, "-G", "Ninja", f"-DCMAKE_PREFIX_PATH={self.prefix}")
        run("cmake", "--build", build)
        plugin = pathlib.Path((build / "plugin-dir").read_text()) / PLUGIN
        self.assertTrue(plugin.samefile(self.find(PLUGIN)))
        self.assertEqual(run(build / "consumer", plugin), "a filer\n")

    def test_a_project_finds_the_framework_with_pkg_config_and_loads_the_plugin(self):
        found = {"PKG_CONFIG_PATH": str(self.find("hoq.pc").parent)}
        flags = run("pkg-config", "--cflags", "--libs", "hoq", env=found).split()
        directory = run("pkg-config", "--variable=libdir", "hoq", env=found).strip()
        program = self.place / "by-pkg-config"
        run("c++", "-std=c++20", self.place / "consumer.cpp", "-o", program, *flags,
            f"-Wl,-rpath,{directory}")
        self.assertEqual(run(program, self.find(PLUGIN)), "a filer\n")


@unittest.skipUnless(shutil.which("dpkg-shlibdeps"), "dpkg-shlibdeps is not installed")
class PackageTest(unittest.TestCase):
    """The package that cpack makes, unpacked beside the system."""

    @classmethod
    def setUpClass(cls):
        place = tempfile.TemporaryDirectory()
        cls.addClassCleanup(place.cleanup)
        cls.place = pathlib.Path(place.name)
        run("cpack", "-B", cls.place / "made", cwd=repository.BUILD)
        package, = (cls.place / "made").glob("*.deb")
        cls.root, cls.control = cls.place / "root", cls.place / "control"
        run("dpkg-deb", "-x", package, cls.root)
        run("dpkg-deb", "-e", package, cls.control)

    def test_its_program_finds_its_plugin(self):
        (self.place / "listed").mkdir()
        (self.place / "listed/a-file").touch()
        self.assertEqual(run(self.root / "usr/bin/hoq", "ls", self.place / "listed"), "a-file\n")

    def test_it_needs_what_its_programs_need(self):
        text = (self.control / "control").read_text()
        for name in ("file", "passwd", "libc6", "libboost-filesystem1"):
            self.assertRegex(text, rf"(?m)^Depends: (.*, )?{name}")

    def test_the_daemon_comes_with_its_unit_and_its_account(self):
        if not (self.root / "usr/bin/hoqd").exists():
            self.skipTest("this build has no hoqd")
        unit = (self.root / "usr/lib/systemd/system/hoqd.service").read_text()
        self.assertIn("ExecStart=/usr/bin/hoqd ", unit)
        self.assertIn("u hoq ", (self.root / "usr/lib/sysusers.d/hoq.conf").read_text())
        run("sh", "-n", self.control / "postinst")
        self.assertIn("useradd --system", (self.control / "postinst").read_text())
        worker = self.root / "usr/libexec/hoq/hoq-worker"
        self.assertTrue(os.access(worker, os.X_OK))
        self.assertNotIn("not found", run("ldd", worker))


if __name__ == "__main__":
    unittest.main()
