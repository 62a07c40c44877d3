"""Requests run as the user of their client's entry, and the kernel decides what they may."""

import base64
import itertools
import json
import os
import pwd
import re
import shutil
import signal
import stat
import subprocess
import threading
import unittest

from daemon import DEADLINE, FRONT, HOQD, IS_ROOT, Daemon, DaemonTest, Requests, main
from hoqtest import HOQ, NOBODY, environment

ME, OTHER = "daemon", "bin"  # accounts that every Debian has
FOLLOW_NOTHING, RECURSIVE, SYMBOLIC = 0, 0x2, 0x40
# How many requests of two users are mixed; a hundred thousand take a minute or two.
MIXED = int(os.environ.get("HOQ_MIXED_REQUESTS", "600"))
FIELDS = 0x57F  # all but times, targets and kinds of contents


def uid(name):
    return pwd.getpwnam(name).pw_uid


def gid(name):
    return pwd.getpwnam(name).pw_gid


def can_be_run_by_others():
    done = subprocess.run([HOQ, "--version"], user=NOBODY, group=NOBODY, capture_output=True,
                          timeout=DEADLINE)
    return done.returncode == 0


def status_of(pid):
    with open(f"/proc/{pid}/status", encoding="ascii") as stream:
        return dict(line.rstrip("\n").split(":\t", 1) for line in stream if ":\t" in line)


@unittest.skipUnless(IS_ROOT, "needs root: only its daemon has others' identities")
class IdentityTest(DaemonTest):
    """A daemon whose clients "me" and "other" are ordinary users."""

    def setUp(self):
        super().setUp()
        try:
            usable = can_be_run_by_others()
        except PermissionError:
            usable = False
        if not usable:
            self.skipTest("the built programs cannot be reached without root's rights")
        self.shared = os.path.join(self.dir, "shared")
        os.mkdir(self.shared)
        os.chmod(self.shared, 0o777)

    def entries(self, me="read change"):
        return [("me", me, f'run_as = "{ME}"'), ("other", "read change", f'run_as = "{OTHER}"')]

    def on(self, daemon, name, *arguments, **more):
        certificate = self.certificate(name)
        return self.hoq("--node", daemon.address(), "--ca", self.authority.pem, "--cert",
                        certificate.pem, "--key", certificate.key, *arguments, **more)

    def worker_of(self, daemon, name, count=1):
        line = daemon.log.wait(f"for {re.escape(name)} started", count)
        return int(re.search(r"worker (\d+)", line).group(1))


class WhoIsWho(IdentityTest):
    def test_what_is_made_belongs_to_the_user_of_the_entry(self):
        daemon = self.serve(*self.entries(), ("tight", "read change", f'run_as = "{ME}"',
                                              'umask = "027"'))
        rows = [("me", ME, 0o755), ("other", OTHER, 0o755), ("tight", ME, 0o750)]
        for name, user, mode in rows:
            made = os.path.join(self.shared, name)
            self.assertEqual(self.client(daemon, name).mkdir(made), (0, []))
            info = os.stat(made)
            self.assertEqual((info.st_uid, info.st_gid, stat.S_IMODE(info.st_mode)),
                             (uid(user), gid(user), mode))

    def test_the_name_of_a_certificate_can_be_the_users(self):
        daemon = self.serve((ME, "read change"), (OTHER, "read change"),
                            top='default_run_as = "@name"')
        for name in (ME, OTHER):
            made = os.path.join(self.shared, name)
            self.assertEqual(self.client(daemon, name).mkdir(made)[0], 0)
            self.assertEqual(os.stat(made).st_uid, uid(name))

    def test_ping_tells_the_user_to_those_who_ask_closely(self):
        daemon = self.serve(*self.entries())
        for name, user in (("me", ME), ("other", OTHER), ("stranger", "nobody")):
            told = self.on(daemon, name, "ping", "-v").out.decode()
            self.assertIn(f"\nruns as     {user}\n", told)
            self.assertNotIn("runs as", self.on(daemon, name, "ping").out.decode())
            found = json.loads(self.on(daemon, name, "ping", "--json").out)
            self.assertEqual(found["user"], user)

    def test_each_process_has_only_what_it_needs(self):
        daemon = self.serve(*self.entries(), ("boss", "read change", 'run_as = "root"'))
        for name in ("me", "stranger", "boss"):
            self.client(daemon, name).info()
        for name, user in (("me", ME), ("unknown", "nobody")):
            status = status_of(self.worker_of(daemon, name))
            self.assert_only(status, user)
        front = status_of(daemon.process.pid)
        self.assert_only(front, FRONT)
        spawner = status_of(daemon.spawner())
        self.assertEqual(spawner["Uid"].split(), ["0"] * 4)
        boss = status_of(self.worker_of(daemon, "boss"))
        self.assertEqual((boss["Uid"].split(), boss["NoNewPrivs"]), (["0"] * 4, "1"))
        self.assertEqual(int(boss["CapEff"], 16) & ~0x0800001F, 0, "rights over files, no others")

    def assert_only(self, status, user):
        self.assertEqual(status["Uid"].split(), [str(uid(user))] * 4)
        self.assertEqual(status["Gid"].split(), [str(gid(user))] * 4)
        self.assertEqual(status["Groups"].split(), [str(gid(user))])
        for kind in ("CapPrm", "CapEff", "CapInh", "CapAmb"):
            self.assertEqual(int(status[kind], 16), 0, kind)
        self.assertEqual((status["NoNewPrivs"], status["Seccomp"]), ("1", "2"))

    def test_a_worker_has_limits_and_a_group_of_its_own(self):
        daemon = self.serve(*self.entries(),
                            limits="worker_descriptors = 777\n" +
                            ("" if os.environ.get("HOQ_SANITIZED") else "worker_memory_mib = 2048"))
        self.client(daemon, "me").info()
        worker = self.worker_of(daemon, "me")
        with open(f"/proc/{worker}/limits", encoding="ascii") as stream:
            limits = {line[:26].strip(): line[26:].split() for line in stream}
        self.assertEqual(limits["Max open files"][:2], ["777", "777"])
        self.assertEqual(limits["Max core file size"][:2], ["0", "0"])
        if not os.environ.get("HOQ_SANITIZED"):
            self.assertEqual(limits["Max address space"][:2], [str(2048 << 20)] * 2)
        self.assertEqual(os.getpgid(worker), worker)
        self.assertEqual(sorted(os.listdir(f"/proc/{worker}/fd"), key=int)[:4],
                         ["0", "1", "2", "3"])
        self.assertEqual(os.readlink(f"/proc/{worker}/fd/0"), "/dev/null")
        with open(f"/proc/{worker}/environ", "rb") as stream:
            names = {entry.split(b"=")[0] for entry in stream.read().split(b"\0")}
        self.assertNotIn(b"HOME", names)

    def test_a_user_on_a_unix_socket_is_itself_with_or_without_an_account(self):
        path = os.path.join(self.dir, "s")
        daemon = self.serve(("uid:4242", "read change"), (f"uid:{NOBODY}", "read change"),
                            ("uid:0", "read change"), listen=f'["unix:{path}"]')
        for user in (4242, NOBODY, 0):
            made = os.path.join(self.shared, str(user))
            result = self.hoq("--node", f"unix:{path}", "mkdir", made, user=user, group=user,
                              extra_groups=[])
            self.assertEqual((result.status, result.err), (0, b""))
            self.assertEqual(os.stat(made).st_uid, user)
        self.assertEqual(os.stat(os.path.join(self.shared, "4242")).st_gid, 65534,
                         "the groups that a peer says it has do not count")
        self.assertEqual(len(daemon.workers()), 3)

    def test_more_identities_than_workers_are_served_in_turn(self):
        path = os.path.join(self.dir, "s")
        users = range(20001, 20025)
        daemon = self.serve(*((f"uid:{user}", "read change") for user in users),
                            listen=f'["unix:{path}"]', limits="workers = 4")
        runs = [subprocess.Popen([HOQ, "--node", f"unix:{path}", "mkdir", f"{self.shared}/{user}"],
                                 user=user, group=user, extra_groups=[], env=environment(),
                                 stderr=subprocess.PIPE) for user in users]
        for user, run in zip(users, runs):
            _, told = run.communicate(timeout=DEADLINE)
            self.assertEqual((run.returncode, told), (0, b""), user)
            self.assertEqual(os.stat(os.path.join(self.shared, str(user))).st_uid, user)
        self.assertLessEqual(len(daemon.workers()), 4)

    def test_two_at_work_at_the_same_time_are_not_mixed_up(self):
        daemon = self.serve(*self.entries())
        wrong = []

        def work(name, user, client):
            for number in range(MIXED // 2):
                made = os.path.join(self.shared, f"{name}{number}")
                if client.mkdir(made) != (0, []) or os.stat(made).st_uid != uid(user):
                    wrong.append(made)
        threads = [threading.Thread(target=work, args=(name, user, self.client(daemon, name)))
                   for name, user in (("me", ME), ("other", OTHER))]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        self.assertEqual(wrong, [])
        self.assertEqual(len(os.listdir(self.shared)), MIXED)


class TwoNodes(IdentityTest):
    def test_a_tree_goes_from_user_to_user(self):
        """As the same user on both: what it may not read does not go, what arrives is its own."""
        node = self.authority.issue("second", "DNS:localhost,IP:127.0.0.1")
        first = self.serve(*self.entries(), name="first.toml")
        second = self.serve(("localhost", "change", f'run_as = "{OTHER}"'), name="second.toml",
                            node=node, top='audit = "audit"')
        self.make("shared/tree/", "shared/tree/open=text", "shared/tree/closed=secret", "shared/to/")
        os.chmod(self.path("shared/tree/closed"), 0o600)
        os.chmod(self.path("shared/to"), 0o777)
        request = {"paths": [f"{self.shared}/tree"], "node": second.address(),
                   "destination": f"{self.shared}/to", "options": RECURSIVE}
        result = self.on(first, "me", "call", "copyToNode", stdin=json.dumps(request).encode())
        self.assertIn(b"Cannot open file to read", result.out)
        arrived = os.path.join(self.shared, "to", "tree")
        self.assertEqual(os.listdir(arrived), ["open"])
        for path in (arrived, os.path.join(arrived, "open")):
            self.assertEqual(os.stat(path).st_uid, uid(OTHER))
        with open(self.path("audit"), encoding="utf-8") as stream:
            asked = {(line["client"], line["askedBy"]) for line in map(json.loads, stream)}
        self.assertEqual(asked, {("localhost", "me")})


class WhatTheKernelSays(IdentityTest):
    """The same operations by the same user, on a node and without one."""

    # What each operation asks of a path. A new operation needs a row.
    OPERATIONS = {
        "list": lambda p, to: {"paths": [p], "fields": FIELDS, "options": RECURSIVE},
        "stat": lambda p, to: {"paths": [p], "fields": FIELDS},
        "search": lambda p, to: {"paths": [p], "pattern": "*"},
        "remove": lambda p, to: {"paths": [p], "options": RECURSIVE},
        "mkdir": lambda p, to: {"paths": [p + "/new"], "mode": 0o777},
        "chmod": lambda p, to: {"paths": [p], "mode": 0o707},
        "chown": lambda p, to: {"paths": [p], "uid": uid(ME), "gid": gid(ME)},
        "copy": lambda p, to: {"paths": [p], "destination": to, "options": RECURSIVE},
        "copyToNode": lambda p, to: {"paths": [p], "destination": to, "options": RECURSIVE,
                                     "node": "local:"},
        "move": lambda p, to: {"paths": [p], "destination": to, "options": RECURSIVE},
        "link": lambda p, to: {"target": p, "name": p + ".link", "options": FOLLOW_NOTHING},
        "readlink": lambda p, to: {"path": p},
        "upload": lambda p, to: {"items": [{"path": p, "size": 2, "data":
                                            base64.b64encode(b"up").decode()}]},
        "download": lambda p, to: {"items": [{"path": p}]},
    }
    READING = {"list", "stat", "search", "readlink", "download"}

    PLACES = ["theirs", "readable", "mine", "setgid", "setgid/theirs", "sticky/theirs",
              "sticky/new", "closed", "closed/file", "link", "none"]

    def setUp(self):
        super().setUp()
        self.tree = os.path.join(self.shared, "tree")

    def grow(self):
        """A tree of what users quarrel about."""
        shutil.rmtree(self.tree, ignore_errors=True)
        folders = [("", "root", 0o755), ("to", ME, 0o755), ("setgid", OTHER, 0o2777),
                   ("sticky", "root", 0o1777), ("closed", OTHER, 0o700)]
        files = [("theirs", OTHER, 0o600), ("readable", OTHER, 0o644), ("mine", ME, 0o600),
                 ("setgid/theirs", OTHER, 0o640), ("sticky/theirs", OTHER, 0o666),
                 ("closed/file", OTHER, 0o666)]
        for name, user, mode in folders:
            path = os.path.join(self.tree, name)
            os.mkdir(path)
            os.chown(path, uid(user), gid(user))
            os.chmod(path, mode)
        for name, user, mode in files:
            path = os.path.join(self.tree, name)
            with open(path, "w", encoding="ascii") as stream:
                stream.write(name)
            os.chown(path, uid(user), gid(user))
            os.chmod(path, mode)
        os.symlink("theirs", os.path.join(self.tree, "link"))
        for folder, names, files in os.walk(self.tree, topdown=False):
            for name in (*files, *names, ""):  # answers tell times even where nobody asks
                os.utime(os.path.join(folder, name), (1, 1), follow_symlinks=False)

    def state(self):
        found = {}
        for folder, names, files in os.walk(self.tree):
            for name in (*names, *files):
                path = os.path.join(folder, name)
                info = os.lstat(path)
                text = b""
                if stat.S_ISREG(info.st_mode):
                    with open(path, "rb") as stream:
                        text = stream.read()
                found[os.path.relpath(path, self.tree)] = (oct(info.st_mode), info.st_uid,
                                                           info.st_gid, info.st_nlink, text)
        return found

    def request(self, operation, place):
        path = os.path.join(self.tree, place)
        return json.dumps(self.OPERATIONS[operation](path, os.path.join(self.tree, "to"))).encode()

    def test_every_operation_has_a_row(self):
        told = self.hoq("call", "--help").out.decode()
        listed = re.findall(r"^  (\w+) .*\(right: (read|change)\)$", told, re.MULTILINE)
        self.assertEqual({name for name, _ in listed}, set(self.OPERATIONS))
        self.assertEqual({name for name, right in listed if right == "read"}, self.READING)

    def test_a_node_answers_and_does_what_the_users_own_process_would(self):
        daemon = self.serve(*self.entries())
        refused = done = 0
        for (name, user), operation, place in itertools.product(
                (("me", ME), ("other", OTHER)), self.OPERATIONS, self.PLACES):
            with self.subTest(user=user, operation=operation, place=place):
                request = self.request(operation, place)
                self.grow()
                here = subprocess.run(
                    ["setpriv", "--reuid", user, "--regid", user, "--init-groups", HOQ, "call",
                     operation], input=request, capture_output=True, env=environment(),
                    timeout=DEADLINE)
                after = self.state()
                self.grow()
                there = self.on(daemon, name, "call", operation, stdin=request)
                self.assertEqual((there.status, there.out, there.err),
                                 (here.returncode, here.stdout, here.stderr))
                self.assertEqual(self.state(), after)
                refused += b"Permission denied" in there.out or b"not permitted" in there.out
                done += there.status == 0
        self.assertGreater(refused, 20, "the kernel was not asked")
        self.assertGreater(done, 20)

    def test_who_may_only_read_changes_nothing_even_of_its_own(self):
        daemon = self.serve(*self.entries(me="read"))
        self.grow()
        before = self.state()
        for operation, place in itertools.product(self.OPERATIONS, ("mine", "setgid")):
            with self.subTest(operation=operation, place=place):
                result = self.on(daemon, "me", "call", operation,
                                 stdin=self.request(operation, place))
                self.assertEqual(json.loads(result.out)["code"] == 414,
                                 operation not in self.READING, result)
                self.assertEqual(self.state(), before)

    def test_who_may_only_change_is_told_nothing(self):
        for rights, refused in (("change", self.READING), ("", set(self.OPERATIONS))):
            daemon = self.serve(*self.entries(me=rights), name=f"{rights}.toml")
            for operation in self.OPERATIONS:
                with self.subTest(operation=operation, rights=rights):
                    self.grow()
                    result = self.on(daemon, "me", "call", operation,
                                     stdin=self.request(operation, "mine"))
                    answer = json.loads(result.out)
                    self.assertEqual(answer["code"] == 414, operation in refused, result)
                    if operation in refused:
                        self.assertFalse(answer.get("records") or answer.get("target"), result)


class Credentials(IdentityTest):
    """What a request says of whom it works for."""

    def code(self, daemon, name, credentials, operation="stat"):
        request = {"paths": [self.shared], "credentials": credentials}
        result = self.on(daemon, name, "call", operation, stdin=json.dumps(request).encode())
        return json.loads(result.out)["code"]

    def test_other_users_and_groups_than_ones_own_are_refused(self):
        daemon = self.serve(*self.entries())
        own = [{}, {"name": ME}, {"uid": uid(ME)}, {"uid": uid(ME), "gid": gid(ME)},
               {"groups": [ME]}, {"gids": [gid(ME)]}, {"umask": 0}]
        foreign = [{"name": OTHER}, {"uid": uid(OTHER)}, {"uid": 0}, {"name": "root"},
                   {"gid": 0}, {"gids": [gid(ME), gid(OTHER)]}, {"groups": ["root"]},
                   {"uid": uid(ME), "name": "root"}, {"name": "no-such-user-anywhere"}]
        for credentials in own:
            self.assertEqual(self.code(daemon, "me", credentials), 0, credentials)
        for credentials in foreign:
            self.assertEqual(self.code(daemon, "me", credentials), 414, credentials)

    def test_what_is_refused_does_nothing(self):
        daemon = self.serve(*self.entries(), top='audit = "audit"')
        made = os.path.join(self.shared, "x")
        request = {"paths": [made], "credentials": {"uid": 0}}
        result = self.on(daemon, "me", "call", "mkdir", stdin=json.dumps(request).encode())
        self.assertEqual((result.status, json.loads(result.out)["code"]), (4, 414))
        self.assertFalse(os.path.exists(made))

    def test_roots_worker_gives_uploads_to_whom_the_request_says(self):
        daemon = self.serve(("boss", "read change", 'run_as = "root"'))
        request = {"items": [{"path": f"{self.shared}/f", "size": 1, "data": "eA=="}],
                   "credentials": {"uid": uid(ME), "gid": gid(ME)}}
        result = self.on(daemon, "boss", "call", "upload", stdin=json.dumps(request).encode())
        self.assertEqual(result.status, 0, result)
        self.assertEqual(os.stat(f"{self.shared}/f").st_uid, uid(ME))


class Ends(IdentityTest):
    """What becomes of the others when a process ends or hangs."""

    def test_a_user_that_vanishes_is_refused_and_another_is_not(self):
        accounts = os.path.join(self.dir, "passwd")
        with open("/etc/passwd", encoding="utf-8") as stream:
            before = stream.read()
        with open(accounts, "w", encoding="utf-8") as stream:
            stream.write(before + "hoq-e2e-user:x:23456:23456::/:/bin/sh\n")
        config = self.configure(("me", "read change", 'run_as = "hoq-e2e-user"'),
                                ("other", "read change", f'run_as = "{OTHER}"'))
        script = 'mount --bind "$0" /etc/passwd && exec "$@"'
        run = ["unshare", "-m", "sh", "-c", script, accounts, HOQD, "--config", config]
        if subprocess.run(["unshare", "-m", "sh", "-c", script, accounts, "true"],
                          capture_output=True, timeout=DEADLINE).returncode != 0:
            self.skipTest("this system has no mount namespaces to hide an account in")
        daemon = Daemon(config, command=run)
        self.addCleanup(daemon.stop)
        daemon.address()
        with open(accounts, "w", encoding="utf-8") as stream:
            stream.write(before)
        client = self.client(daemon, "me")
        self.assertEqual(client.info().client, b"me")
        self.assertEqual(client.list_code(self.shared), 414)
        self.assertEqual(client.mkdir(self.shared + "/x")[0], 414)
        daemon.log.wait('for me has no rights: there is no user "hoq-e2e-user"')
        self.assertEqual(self.client(daemon, "other").list_code(self.shared), 0)

    def test_all_end_with_the_front_even_those_that_hang(self):
        daemon = self.serve(*self.entries())
        for name in ("me", "other"):
            self.client(daemon, name).info()
        spawner, workers = daemon.spawner(), daemon.workers()
        self.assertEqual(len(workers), 2)
        os.kill(workers[0], signal.SIGSTOP)
        daemon.signal(signal.SIGKILL)
        daemon.wait()
        daemon.log.finish()  # ends with the last process that holds it
        self.assertTrue(daemon.log.ended)
        for pid in (spawner, *workers):
            self.assertFalse(os.path.exists(f"/proc/{pid}/exe"))

    def test_the_daemon_ends_with_an_error_when_the_spawner_ends(self):
        daemon = self.serve(*self.entries())
        upload = self.client(daemon, "me").upload(Requests(self.path("shared/f")))
        next(upload)
        workers = daemon.workers()
        os.kill(daemon.spawner(), signal.SIGKILL)
        self.assertEqual(daemon.wait(), 1)
        daemon.log.wait("the spawner has ended")
        daemon.log.finish()
        self.assertTrue(daemon.log.ended)
        for pid in workers:
            self.assertFalse(os.path.exists(f"/proc/{pid}/exe"))

    def test_a_worker_that_hangs_is_killed_when_its_entry_goes_away(self):
        daemon = self.serve(*self.entries())
        client = self.client(daemon, "me")
        upload = client.upload(Requests(self.path("shared/f")))
        next(upload)
        worker = self.worker_of(daemon, "me")
        os.kill(worker, signal.SIGSTOP)
        self.configure(*self.entries()[1:])
        daemon.reload()
        self.assert_lost(lambda: list(upload))
        daemon.log.wait(f"worker {worker} for me ended: signal 9")
        self.assertEqual(self.client(daemon, "me").info().client, b"unknown")


class Configurations(IdentityTest):
    def check(self, config):
        done = subprocess.run([HOQD, "--check-config", "--config", config], capture_output=True,
                              env=environment(), timeout=DEADLINE)
        return done.returncode, done.stderr.decode()

    def test_whom_requests_run_as_must_be_said(self):
        config = self.configure(("me", "read"), top='default_run_as = "root"')
        with open(config, encoding="utf-8") as stream:
            text = stream.read()
        self.assertEqual(self.check(config), (0, ""))
        with open(config, "w", encoding="utf-8") as stream:
            stream.write(text.replace('default_run_as = "root"\n', ""))
        status, told = self.check(config)
        self.assertEqual(status, 2)
        self.assertRegex(told, r"hoqd\.toml:\d+: client\.run_as: missing, ")

    def test_what_others_may_write_is_not_obeyed(self):
        config = self.configure(("me", "read"))
        for path, mode, told in ((config, 0o666, "can be written by others"),
                                 (self.dir, 0o777, "its folder")):
            before = os.stat(path).st_mode
            os.chmod(path, mode)
            status, said = self.check(config)
            self.assertEqual(status, 2)
            self.assertIn(told, said)
            os.chmod(path, before)

    def test_a_key_that_the_daemons_user_cannot_read_is_told(self):
        config = self.configure(("me", "read"))
        os.chown(self.node.key, 0, 0)
        self.addCleanup(os.chown, self.node.key, uid(FRONT), gid(FRONT))
        status, said = self.check(config)
        self.assertEqual(status, 2)
        self.assertRegex(said, rf'tls\.key: .*\(it is read as the user "{FRONT}"\)')


class WithoutRoot(IdentityTest):
    def test_the_daemon_serves_as_its_own_user_and_nobody_else(self):
        path = os.path.join(self.dir, "run")
        os.mkdir(path)
        os.chown(path, uid(ME), gid(ME))
        config = os.path.join(path, "hoqd.toml")
        text = (f'listen = ["unix:{path}/s"]\nstate = "state"\n'
                f'[[client]]\nname = "uid:{uid(ME)}"\nrights = ["read", "change"]\n')
        with open(config, "w", encoding="utf-8") as stream:
            stream.write(text)
        daemon = Daemon(config, command=["setpriv", "--reuid", ME, "--regid", ME, "--init-groups",
                                         HOQD, "--config", config])
        self.addCleanup(daemon.stop)
        daemon.address()
        made = os.path.join(self.shared, "made")
        run = {"user": uid(ME), "group": gid(ME), "extra_groups": []}
        node = ("--node", f"unix:{path}/s")
        self.assertEqual(self.hoq(*node, "mkdir", made, **run).status, 0)
        self.assertEqual(os.stat(made).st_uid, uid(ME))
        foreign = json.dumps({"paths": [made], "credentials": {"uid": 0}}).encode()
        self.assertEqual(self.hoq(*node, "call", "stat", stdin=foreign, **run).status, 4)
        with open(config, "a", encoding="utf-8") as stream:
            stream.write('roots = ["/srv"]\n')
        daemon.reload("is refused")
        daemon.log.wait("client.roots: only a daemon that is started as root")


if __name__ == "__main__":
    main()
