"""Workers that are stopped, and killed, in the middle of each operation."""

import base64
import json
import os
import re
import shutil
import signal
import tempfile

from daemon import DEADLINE, main
from nodes import Nodes, until

MANY = 400
BEGUN_NS = 1_000_000  # of the processor's time: the request is read, and the work is not done
ATTEMPTS = 40  # to meet an operation between its beginning and its end


class Stops(Nodes):
    # A request of each operation that has a lot to do. A new operation needs a row.
    OPERATIONS = {
        "list": lambda test: {"paths": [f"{test.dir}/many"] * 20, "fields": 0x7FF},
        "stat": lambda test: {"paths": test.many(), "fields": 0x7FF},
        "remove": lambda test: {"paths": test.many()},
        "mkdir": lambda test: {"paths": test.many("new/")},
        "chmod": lambda test: {"paths": test.many(), "mode": 0o600},
        "chown": lambda test: {"paths": test.many(), "uid": os.getuid(), "gid": os.getgid()},
        "copy": lambda test: {"paths": test.many(), "destination": f"{test.dir}/new"},
        "copyToNode": lambda test: {"paths": test.many(), "destination": f"{test.dir}/new",
                                    "node": "local:"},
        "move": lambda test: {"paths": test.many(), "destination": f"{test.dir}/new"},
        "upload": lambda test: {"items": [{"path": path, "size": 2, "data": TWO_BYTES}
                                          for path in test.many("new/")]},
        "download": lambda test: {"items": [{"path": path} for path in test.many()]},
    }
    # There is no middle to be met in these.
    SHORT = {
        "link": lambda test: {"target": f"{test.dir}/many/0", "name": f"{test.dir}/new/link"},
        "readlink": lambda test: {"path": f"{test.dir}/link"},
        "search": lambda test: {"paths": [f"{test.dir}/many"], "pattern": "*"},
    }

    def many(self, folder="many/"):
        return [f"{self.dir}/{folder}{number}" for number in range(MANY)]

    def setUp(self):
        super().setUp()
        os.symlink("many/0", self.path("link"))
        # Who only reads is somebody else, with another worker.
        self.other = lambda: self.done(self.on(self.there, "stat", self.dir, name="reader"))
        self.other()

    def grow(self):
        for folder in ("many", "new"):
            shutil.rmtree(self.path(folder), ignore_errors=True)
            os.mkdir(self.path(folder))
        for number in range(MANY):
            os.close(os.open(self.path(f"many/{number}"), os.O_WRONLY | os.O_CREAT, 0o644))

    def start_call(self, operation, request):
        with tempfile.TemporaryFile() as text:
            text.write(json.dumps(request(self)).encode())
            text.seek(0)
            return self.begin("--node", self.there.address(), "call", operation, stdin=text)

    def worker(self):
        """That of our entry; it is started if there is none."""
        # The front may not know yet that the one before has ended.
        until(lambda: self.on(self.there, "stat", self.dir).status == 0,
              lambda: "\n".join(self.there.log.all))
        return self.pid_of_worker(self.there)

    def stopped_amid(self, operation, begun=None):
        """A call whose worker was stopped at work: its process, and the worker's id."""
        self.grow()
        worker = self.worker()
        before = busy_ns(worker)
        begun = begun or (lambda: busy_ns(worker) >= before + BEGUN_NS)
        process = self.start_call(operation, self.OPERATIONS[operation])
        while not begun() and process.poll() is None:
            pass
        os.kill(worker, signal.SIGSTOP)
        return process, worker

    def status_when_killed(self, process, worker):
        """A call whose worker is killed fails with an error that names the node, or was done."""
        os.kill(worker, signal.SIGKILL)
        told, error = process.communicate(timeout=DEADLINE)
        self.assertIn(process.returncode, (0, 3), told + error)
        if process.returncode != 0:
            self.assertIn(self.there.address().encode(), told + error)
        return process.returncode

    def test_every_operation_has_a_row(self):
        told = self.hoq("call", "--help").out.decode()
        listed = re.findall(r"^  (\w+) .*\(right: (?:read|change)\)$", told, re.MULTILINE)
        self.assertEqual(set(listed), {*self.OPERATIONS, *self.SHORT})

    def test_a_worker_that_is_stopped_goes_on_and_others_do_not_wait_for_it(self):
        for operation in self.OPERATIONS:
            with self.subTest(operation):
                process, worker = self.stopped_amid(operation)
                try:
                    self.other()
                finally:
                    os.kill(worker, signal.SIGCONT)
                self.assertEqual(self.finish(process), (0, ""))

    def test_a_worker_that_is_killed_fails_what_it_did_and_the_next_call_has_another(self):
        for operation in self.OPERATIONS:
            with self.subTest(operation):
                met = any(self.status_when_killed(*self.stopped_amid(operation))
                          for _ in range(ATTEMPTS))
                self.assertTrue(met, "every call was done before its worker was stopped")
                self.other()

    def left_when_the_client_went(self, operation):
        """How many items an operation had not come to when it ended, since its client was gone."""
        lines = len(self.there.log.all)
        process, worker = self.stopped_amid(operation, lambda: self.done_by(operation) > 0)
        process.kill()
        process.communicate(timeout=DEADLINE)
        os.kill(worker, signal.SIGCONT)
        until(lambda: any('"pathCount":' in line for line in self.there.log.all[lines:]),
              lambda: "\n".join(self.there.log.all))
        return MANY - self.done_by(operation)

    def done_by(self, operation):
        if operation == "remove":
            return MANY - len(os.listdir(self.path("many")))
        return len(os.listdir(self.path("new")))

    def test_what_a_client_that_is_gone_asked_for_ends(self):
        for operation in ("remove", "copy", "copyToNode", "move"):
            with self.subTest(operation):
                left = any(self.left_when_the_client_went(operation) for _ in range(ATTEMPTS))
                self.assertTrue(left, "everything was done for nobody")

    def test_what_waits_for_a_stopped_worker_ends_with_it(self):
        self.grow()
        for operation, request in self.SHORT.items():
            with self.subTest(operation):
                worker = self.worker()
                os.kill(worker, signal.SIGSTOP)
                process = self.start_call(operation, request)
                self.other()
                self.status_when_killed(process, worker)  # or the next worker serves it


TWO_BYTES = base64.b64encode(b"up").decode()


def busy_ns(process):
    """Time of the processor that all its threads have had; sched(7), schedstat."""
    total = 0
    for task in os.listdir(f"/proc/{process}/task"):
        try:
            with open(f"/proc/{process}/task/{task}/schedstat", encoding="ascii") as stream:
                total += int(stream.read().split()[0])
        except FileNotFoundError:
            pass  # it has ended
    return total


if __name__ == "__main__":
    main()
