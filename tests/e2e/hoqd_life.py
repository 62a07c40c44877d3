import os
import re
import shutil
import signal
import socket
import subprocess
import unittest

from daemon import BIN, DEADLINE, IS_ROOT, DaemonTest, Requests, main
from hoqtest import environment


class Life(DaemonTest):
    def test_it_tells_the_service_manager_how_it_is(self):
        path = os.path.join(self.dir, "notify")
        with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as manager:
            manager.settimeout(DEADLINE)
            manager.bind(path)
            os.chmod(path, 0o777)  # as the system's own: whoever the daemon is may write
            daemon = self.start(self.configure(("admin", "read")), environment(NOTIFY_SOCKET=path))
            self.assertEqual(manager.recv(1000), b"READY=1\nSTATUS=serving 1 clients\n")
            daemon.signal(signal.SIGHUP)
            self.assertRegex(manager.recv(1000).decode(), r"^RELOADING=1\nMONOTONIC_USEC=\d+\n$")
            self.assertEqual(manager.recv(1000), b"READY=1\nSTATUS=serving 1 clients\n")
            daemon.signal(signal.SIGTERM)
            self.assertEqual(manager.recv(1000), b"STOPPING=1\nSTATUS=draining\n")
            self.assertEqual(daemon.wait(), 0)

    def test_it_ends_when_asked_and_leaves_nothing_behind(self):
        for number in (signal.SIGTERM, signal.SIGINT):
            with self.subTest(signal=number):
                path = os.path.join(self.front_folder(), "s")
                daemon = self.serve(("admin", "read"), listen=f'["unix:{path}", "127.0.0.1:0"]')
                self.assertEqual(self.unix_client(path).info().client, b"unknown")
                workers = daemon.workers()
                self.assertEqual(len(workers), 1)
                daemon.signal(number)
                self.assertEqual(daemon.wait(), 0)
                self.assertFalse(os.path.exists(path))
                for worker in workers:
                    self.assertFalse(os.path.exists(f"/proc/{worker}"))

    def test_a_call_under_way_is_finished_before_the_end(self):
        daemon = self.serve(("admin", "read change"))
        admin = self.client(daemon, "admin")
        requests = Requests(self.path("file"))
        upload = admin.upload(requests)
        first = next(upload)
        daemon.signal(signal.SIGTERM)
        daemon.log.wait("draining")
        with self.assertRaises(ConnectionRefusedError):
            self.tcp(daemon)
        requests.finish()
        events = list(first.events) + admin.events(upload)
        self.assertEqual(events[-1].result.code, 0, events)
        self.assertEqual(daemon.wait(), 0)
        with open(self.path("file"), "rb") as stream:
            self.assertEqual(stream.read(), b"12")

    def test_a_call_that_does_not_end_is_broken_off(self):
        daemon = self.serve(("admin", "read change"), limits="drain_seconds = 1")
        upload = self.client(daemon, "admin").upload(Requests(self.path("file")))
        next(upload)
        daemon.signal(signal.SIGTERM)
        self.assert_lost(lambda: list(upload))
        self.assertEqual(daemon.wait(), 0)
        daemon.log.wait("broken off")

    def test_who_asks_twice_does_not_wait(self):
        daemon = self.serve(("admin", "read change"), limits="drain_seconds = 1000")
        upload = self.client(daemon, "admin").upload(Requests(self.path("file")))
        next(upload)
        daemon.signal(signal.SIGTERM)
        daemon.log.wait("draining")
        daemon.signal(signal.SIGTERM)
        self.assert_lost(lambda: list(upload))
        self.assertEqual(daemon.wait(), 0)

    def test_workers_end_with_the_front(self):
        daemon = self.serve(("admin", "read change"), listen=f'["127.0.0.1:0"]')
        upload = self.client(daemon, "admin").upload(Requests(self.path("file")))
        next(upload)
        workers = daemon.workers()
        self.assertEqual(len(workers), 1)
        daemon.signal(signal.SIGKILL)
        self.assert_lost(lambda: list(upload))
        daemon.wait()
        daemon.log.finish()  # ends with the last process that holds it
        self.assertTrue(daemon.log.ended)
        for worker in workers:
            self.assertFalse(os.path.exists(f"/proc/{worker}/exe"))

    def test_a_worker_that_is_killed_is_replaced_and_others_are_not_disturbed(self):
        daemon = self.serve(("admin", "read change"), ("other", "read"),
                            top='metrics = "127.0.0.1:0"')
        other = self.client(daemon, "other")
        self.assertEqual(other.info().client, b"other")
        admin = self.client(daemon, "admin")
        upload = admin.upload(Requests(self.path("file")))
        next(upload)
        pid = int(re.search(r"worker (\d+)", daemon.log.wait("for admin started")).group(1))
        os.kill(pid, signal.SIGKILL)
        self.assert_lost(lambda: list(upload))
        daemon.log.wait(f"worker {pid} for admin ended: signal 9")
        self.assertEqual(self.client(daemon, "admin").info().client, b"admin")
        self.assertNotIn(pid, daemon.workers())
        self.assertEqual(other.info().client, b"other")
        metrics = self.metrics(daemon)
        self.assertEqual(metrics["hoqd_worker_starts_total"], 3)
        self.assertEqual(metrics['hoqd_worker_ends_total{cause="unasked"}'], 1)

    def test_a_worker_on_a_unix_socket_that_is_killed_loses_its_clients(self):
        path = os.path.join(self.dir, "s")
        daemon = self.serve((f"uid:{os.geteuid()}", "read change"), listen=f'["unix:{path}"]')
        upload = self.unix_client(path).upload(Requests(self.path("file")))
        next(upload)
        os.kill(daemon.workers()[0], signal.SIGKILL)
        self.assert_lost(lambda: list(upload))
        self.assertTrue(self.unix_client(path).info().may_change)

    def test_a_stopped_worker_does_not_keep_the_daemon_from_ending(self):
        daemon = self.serve(("admin", "read"), limits="drain_seconds = 1")
        self.assertEqual(self.client(daemon, "admin").info().client, b"admin")
        os.kill(daemon.workers()[0], signal.SIGSTOP)
        daemon.signal(signal.SIGTERM)
        self.assertEqual(daemon.wait(), 0)
        daemon.log.wait("does not end: killed")

    def test_an_idle_worker_ends_and_the_next_call_has_a_fresh_one(self):
        daemon = self.serve(("admin", "read"), limits="worker_idle_seconds = 1")
        first = self.client(daemon, "admin")
        self.assertEqual(first.info().client, b"admin")
        first.close()
        daemon.log.wait("for admin ended: exit status 0")
        self.assertEqual(daemon.workers(), [])
        self.assertEqual(self.client(daemon, "admin").info().client, b"admin")

    def test_clients_of_one_name_share_a_worker(self):
        daemon = self.serve(("admin", "read"), ("other", "read"))
        clients = [self.client(daemon, name) for name in ("admin", "other", "x", "y") * 2]
        for client in clients:
            client.info()
        self.assertEqual(len(daemon.workers()), 3)

    def test_a_plugin_that_does_not_load_is_told_and_serves_nobody(self):
        self.make("plugins/", "plugins/libHOQBroken.so=no library", "empty/")
        for folder, told in (("plugins", "libHOQBroken.so"), ("empty", "no plugin"),
                             ("missing", "cannot read the plugin folder")):
            with self.subTest(folder=folder):
                daemon = self.serve(("admin", "read"), top=f'plugins = "{folder}"')
                self.assert_lost(self.client(daemon, "admin").info)
                self.assertIn(told, daemon.log.wait("error: worker .* for admin: "))
                daemon.signal(signal.SIGTERM)
                self.assertEqual(daemon.wait(), 0)

    def test_plugins_are_loaded_from_the_folder_that_is_named(self):
        self.make("plugins/")
        shutil.copy(os.path.join(os.path.dirname(BIN), "lib", "libHOQFileManagerLocal.so"),
                    os.path.join(self.dir, "plugins"))
        daemon = self.serve(("admin", "read"), top='plugins = "plugins"')
        self.assertEqual(self.client(daemon, "admin").list_code(self.dir), 0)

    def test_a_worker_is_not_started_by_hand(self):
        done = subprocess.run([os.path.join(BIN, "hoq-worker")], capture_output=True,
                              stdin=subprocess.DEVNULL, timeout=DEADLINE)
        self.assertEqual((done.returncode, done.stderr),
                         (2, b"hoq-worker: this program is started by hoqd\n"))

    @unittest.skipUnless(IS_ROOT, "only root sees what workers hold")
    def test_a_worker_holds_its_socket_and_no_other_of_the_fronts(self):
        path = os.path.join(self.dir, "s")
        daemon = self.serve(("admin", "read"), listen=f'["127.0.0.1:0", "unix:{path}"]',
                            top='metrics = "127.0.0.1:0"\naudit = "audit"')
        admin = self.client(daemon, "admin")
        other = self.client(daemon, "other")
        self.assertEqual((admin.info().client, other.info().client), (b"admin", b"unknown"))
        fronts = self.inodes(daemon.process.pid)
        for worker in daemon.workers():
            shared = fronts & self.inodes(worker)
            self.assertEqual(shared, set(), f"of worker {worker}")

    @staticmethod
    def inodes(pid):
        """Sockets and files of a process, standard streams left out."""
        folder = f"/proc/{pid}/fd"
        links = {os.readlink(f"{folder}/{fd}") for fd in os.listdir(folder) if int(fd) > 2}
        return {link for link in links if not link.startswith("anon_inode")}


if __name__ == "__main__":
    main()
