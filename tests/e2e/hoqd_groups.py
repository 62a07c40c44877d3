"""Workers in control groups of their own, where the daemon's was handed over to it."""

import os
import select
import signal
import unittest

from daemon import DEADLINE, HOQD, Daemon, main
from hoqd_identity import IdentityTest


def hierarchy():
    """Where control groups of version 2 are mounted, or None."""
    with open("/proc/self/mountinfo", encoding="utf-8") as mounts:
        for line in mounts:
            fields, _, kind = line.partition(" - ")
            if kind.startswith("cgroup2 ") and fields.split()[3] == "/":
                return fields.split()[4]
    return None


def remove(group):
    """Processes that were killed take a moment to leave their group; the system tells when."""
    if not os.path.exists(group):
        return
    with open(os.path.join(group, "cgroup.events"), encoding="ascii") as events:
        changes = select.poll()
        changes.register(events, select.POLLPRI)
        while "populated 1" in events.read():
            changes.poll(DEADLINE * 1000)
            events.seek(0)
    os.rmdir(group)


class Groups(IdentityTest):
    def setUp(self):
        super().setUp()
        mount = hierarchy()
        if mount is None:
            self.skipTest("control groups of version 2 are not mounted")
        self.group = os.path.join(mount, f"hoq-test-{os.getpid()}")
        try:
            os.mkdir(self.group)
            self.addCleanup(remove, self.group)
            os.setxattr(self.group, "user.delegate", b"1")
        except OSError as error:
            self.skipTest(f"no control group can be made and handed over: {error}")

    def daemon(self):
        """A daemon in the group, as a supervisor would start it."""
        enter = 'echo $$ > "$0/cgroup.procs" && exec "$@"'
        daemon = Daemon(None, command=["sh", "-c", enter, self.group, HOQD, "--config",
                                       self.configure(*self.entries(),
                                                      limits="worker_memory_mib = 2048")])
        self.addCleanup(remove, os.path.join(self.group, "daemon"))
        self.addCleanup(daemon.stop)
        daemon.address()
        return daemon

    def group_of(self, process):
        with open(f"/proc/{process}/cgroup", encoding="utf-8") as lines:
            path = next(line[3:].rstrip("\n") for line in lines if line.startswith("0::"))
        return path.removeprefix("/" + os.path.basename(self.group))

    def worker_groups(self):
        return sorted(name for name in os.listdir(self.group) if name.startswith("worker-"))

    def assert_limits(self, group):
        """Where another hierarchy has the controllers, there is nothing to set."""
        for name, value in (("memory.max", 2048 << 20), ("pids.max", 1024)):
            file = os.path.join(group, name)
            if os.path.exists(file):
                with open(file, encoding="ascii") as stream:
                    self.assertEqual(int(stream.read()), value, name)

    @unittest.skipIf(os.environ.get("HOQ_SANITIZED"), "a sanitizer needs all of the address space")
    def test_each_worker_has_one_that_goes_with_it(self):
        daemon = self.daemon()
        for process in (daemon.process.pid, daemon.spawner()):
            self.assertEqual(self.group_of(process), "/daemon")
        workers = {}
        for number, name in enumerate(("me", "other"), 1):
            self.client(daemon, name).info()
            workers[name] = self.worker_of(daemon, name)
            self.assertEqual(self.group_of(workers[name]), f"/worker-{number}")
            self.assert_limits(os.path.join(self.group, f"worker-{number}"))
        os.kill(workers["me"], signal.SIGKILL)
        daemon.log.wait("for me ended")
        self.assertEqual(self.worker_groups(), ["worker-2"])
        self.client(daemon, "me").info()
        self.assertEqual(self.group_of(self.worker_of(daemon, "me", 2)), "/worker-3")
        daemon.process.terminate()
        daemon.process.wait()
        daemon.stop()  # the log ends with the last of its processes
        self.assertEqual(self.worker_groups(), [])

    def test_a_group_that_is_somebody_elses_is_not_divided(self):
        os.removexattr(self.group, "user.delegate")
        daemon = self.daemon()
        self.client(daemon, "me").info()
        self.assertEqual(self.group_of(self.worker_of(daemon, "me")), "")
        self.assertEqual([name for name in os.listdir(self.group)
                          if os.path.isdir(os.path.join(self.group, name))], [])


del IdentityTest  # it has no tests of its own

if __name__ == "__main__":
    main()
