import os
import signal
import subprocess

from daemon import DEADLINE, DaemonTest, Requests, main


class Reload(DaemonTest):
    def test_a_new_client_is_served_and_others_are_not_disturbed(self):
        daemon = self.serve(("admin", "read"))
        admin = self.client(daemon, "admin")
        self.assertEqual(admin.info().client, b"admin")
        workers = daemon.workers()
        self.configure(("new", "read"), ("admin", "read"))
        daemon.reload()
        self.assertEqual(self.client(daemon, "new").info().client, b"new")
        self.assertEqual(admin.info().client, b"admin")
        self.assertLess(set(workers), set(daemon.workers()), "admin's worker is the same")
        self.assertNotIn("its entry changed", "\n".join(daemon.log.all))

    def test_a_changed_entry_takes_effect_on_standing_connections(self):
        daemon = self.serve(("admin", "read change"), ("other", "read"))
        admin, other = self.client(daemon, "admin"), self.client(daemon, "other")
        self.assertTrue(admin.info().may_change)
        self.assertTrue(other.info().may_read)
        old = daemon.log.wait("worker .* for admin started").split("worker ")[1].split()[0]
        upload = admin.upload(Requests(self.path("f")))
        self.configure(("admin", "read"), ("other", "read"))
        daemon.reload()
        self.assert_lost(lambda: admin.events(upload))
        daemon.log.wait(f"worker {old} for admin ended: exit status 0")
        again = self.client(daemon, "admin")
        self.assertFalse(again.info().may_change, "a new worker has taken over")
        self.assertEqual(again.mkdir(os.path.join(self.dir, "d"))[0], 414)
        self.assertEqual(len([line for line in daemon.log.all if "its entry changed" in line]), 1)

    def test_a_removed_client_is_refused_from_then_on(self):
        daemon = self.serve(("admin", "read"))
        admin = self.client(daemon, "admin")
        self.assertEqual(admin.list_code(self.dir), 0)
        self.configure(("other", "read"))
        daemon.reload()
        daemon.log.wait("its entry changed")
        daemon.log.wait("for admin ended: exit status 0")
        again = self.client(daemon, "admin")
        self.assertEqual(again.info().client, b"unknown")
        self.assertEqual(again.list_code(self.dir), 414)

    def test_an_unknown_client_that_gets_an_entry_is_served(self):
        daemon = self.serve(("admin", "read"))
        new = self.client(daemon, "new")
        self.assertEqual(new.list_code(self.dir), 414)
        self.configure(("admin", "read"), ("new", "read"))
        daemon.reload()
        daemon.log.wait("its entry changed")
        self.assertEqual(self.client(daemon, "new").list_code(self.dir), 0)

    def test_a_revoked_certificate_loses_its_connection(self):
        self.make("revoked.txt=# none\n")
        daemon = self.serve(("admin", "read"), revoked="revoked.txt")
        admin = self.client(daemon, "admin")
        second = self.authority.issue("admin-2", "DNS:admin")
        spare = self.client(daemon, "admin", certificate=second)
        self.assertEqual(admin.info().client, b"admin")
        self.assertEqual(spare.info().client, b"admin")
        with open(self.path("revoked.txt"), "w", encoding="ascii") as stream:
            stream.write(self.certificate("admin").fingerprint() + "\n")
        daemon.reload()
        daemon.log.wait("its certificate is not trusted any more")
        self.assert_lost(admin.info)
        self.assertEqual(spare.info().client, b"admin", "the same client by another certificate")

    def test_a_bad_configuration_changes_nothing(self):
        daemon = self.serve(("admin", "read"), top='metrics = "127.0.0.1:0"')
        admin = self.client(daemon, "admin")
        self.assertEqual(admin.info().client, b"admin")
        config = self.path("hoqd.toml").decode()
        with open(config, encoding="utf-8") as stream:
            good = stream.read()
        bad = ["listen = [", "nonsense = 1\n" + good, good.replace('"read"', '"write"'),
               good.replace(self.node.key, "missing.key"),
               good.replace("127.0.0.1:0", "192.0.2.1:1", 1), ""]
        for number, text in enumerate(bad, 1):
            with open(config, "w", encoding="utf-8") as stream:
                stream.write(text)
            daemon.reload("stays in force")
            daemon.log.wait(f"error: {config}:\\d+: ", number)
        os.unlink(config)
        daemon.reload("stays in force")
        self.assertEqual(admin.info().client, b"admin", "on its old connection")
        self.assertEqual(self.client(daemon, "admin").list_code(self.dir), 0)
        self.assertEqual(self.client(daemon, "stranger").list_code(self.dir), 414)
        metrics = self.metrics(daemon)
        self.assertEqual(metrics['hoqd_reloads_total{outcome="refused"}'], len(bad) + 1)
        with open(config, "w", encoding="utf-8") as stream:
            stream.write(good)
        daemon.reload()
        self.assertEqual(self.metrics(daemon)['hoqd_reloads_total{outcome="taken"}'], 1)

    def test_addresses_come_and_go(self):
        daemon = self.serve(("admin", "read"))
        admin = self.client(daemon, "admin")
        self.assertEqual(admin.info().client, b"admin")
        path = os.path.join(self.front_folder(), "s")
        self.configure(("admin", "read"), listen=f'["unix:{path}"]')
        daemon.reload()
        self.assertEqual(daemon.address(2), "unix:" + path)
        self.assertEqual(self.unix_client(path).info().client, b"unknown")
        with self.assertRaises(ConnectionRefusedError):
            self.tcp(daemon)
        self.assertEqual(admin.info().client, b"admin", "what was accepted before stands")
        self.configure(("admin", "read"), listen='["localhost:0"]')
        daemon.reload()
        self.assertFalse(os.path.exists(path))

    def test_the_audit_is_opened_again(self):
        audit = os.path.join(self.front_folder(), "audit")
        daemon = self.serve(("admin", "read change"), top='audit = "front/audit"')
        admin = self.client(daemon, "admin")
        self.assertEqual(admin.mkdir(os.path.join(self.dir, "one"))[0], 0)
        self.await_line(audit, "one")
        os.rename(audit, self.path("audit.1"))
        daemon.reload()
        self.assertEqual(admin.mkdir(os.path.join(self.dir, "two"))[0], 0)
        self.await_line(audit, "two")
        with open(self.path("audit.1"), encoding="utf-8") as stream:
            self.assertNotIn("two", stream.read())

    def await_line(self, name, text):
        script = f'grep -m1 -q "{text}" <(tail -n +1 -F "{name}" 2>/dev/null)'
        subprocess.run(["bash", "-c", script], cwd=self.dir, check=True, timeout=DEADLINE)

    def test_new_limits_reach_new_connections_while_old_ones_stand(self):
        daemon = self.serve(("admin", "read"))
        old = self.client(daemon, "admin")
        self.assertEqual(old.info().message_bytes, 4194304)
        self.configure(("admin", "read"), limits="message_bytes = 1048576")
        daemon.reload()
        self.assertEqual(old.info().message_bytes, 4194304)
        self.assertEqual(self.client(daemon, "admin").info().message_bytes, 1048576)
        self.assertEqual(len(daemon.workers()), 2)
        old.close()
        daemon.log.wait("for admin ended: exit status 0")

    def test_the_node_keeps_its_identifier(self):
        daemon = self.serve(("admin", "read"))
        eid = self.client(daemon, "admin").info().eid
        self.configure(("admin", "read"), limits="message_bytes = 1048576")
        daemon.reload()
        self.assertEqual(self.client(daemon, "admin").info().eid, eid)
        daemon.signal(signal.SIGTERM)
        self.assertEqual(daemon.wait(), 0)
        again = self.start(self.path("hoqd.toml").decode())
        self.assertEqual(self.client(again, "admin").info().eid, eid)
        with open(self.path("hoqd.toml.state/eid"), encoding="ascii") as stream:
            self.assertEqual(bytes.fromhex(stream.read().strip()), eid)


if __name__ == "__main__":
    main()
