import os
import socket
import subprocess

from daemon import HOQD, DEADLINE, DaemonTest, environment, main


class Config(DaemonTest):
    def run_hoqd(self, *arguments):
        return subprocess.run([HOQD, *arguments], capture_output=True, env=environment(),
                              cwd=self.dir, timeout=DEADLINE)

    def check(self, config):
        return self.run_hoqd("--check-config", "--config", config)

    def test_a_good_configuration_is_good(self):
        config = self.configure(("admin", "read change"))
        done = self.check(config)
        self.assertEqual((done.returncode, done.stdout.decode(), done.stderr),
                         (0, f"{config}: good\n", b""))
        self.assertEqual(os.listdir(self.dir), ["hoqd.toml"], "a check makes nothing")

    def with_line(self, config, line):
        with open(config, encoding="utf-8") as stream:
            lines = stream.read().splitlines()
        number = next(i for i, known in enumerate(lines) if known.startswith(line.split()[0]))
        lines[number] = line
        with open(config, "w", encoding="utf-8") as stream:
            stream.write("\n".join(lines) + "\n")
        return number + 1

    def test_a_bad_one_is_refused_with_file_line_and_key(self):
        self.make("text=no certificate", "revoked=# none\nnot a fingerprint\n")
        other = self.authority.issue("other")
        cases = [
            ('listen = ["nowhere:port"]', "listen", "no address"),
            ('engine = "steam"', "engine", '"steam" is no engine'),
            ('state = 7', "state", "must be a text, not an integer"),
            ('ca = "missing.pem"', "tls.ca", "missing.pem"),
            ('ca = "text"', "tls.ca", "text"),
            ('cert = "missing.pem"', "tls.cert", "missing.pem"),
            ('key = "text"', "tls.key", "text"),
            (f'key = "{other.key}"', "tls.key", "other.key"),
            ('revoked = "revoked"', "tls.revoked", "revoked"),
            ('revoked = "none"', "tls.revoked", "none"),
            ('connections = "many"', "limits.connections", "must be an integer, not a text"),
            ('rights = ["write"]', "client.rights", "no right"),
            ('run_as = "nobody-here"', "client.run_as", "\"nobody-here\""),
        ]
        os.chmod(self.path("text"), 0o600)
        for line, key, reason in cases:
            with self.subTest(line=line):
                config = self.configure(("admin", "read"), top='engine = "kernel"',
                                        limits="connections = 5", revoked="text")
                with open(config, "a", encoding="utf-8") as stream:
                    stream.write("run_as =\n")
                self.with_line(config, 'run_as = "%s"' % self.own_user())
                self.with_line(config, 'revoked = "empty"')
                self.make("empty=")
                self.assertEqual(self.check(config).returncode, 0)
                number = self.with_line(config, line)
                for arguments in (["--check-config"], []):
                    done = self.run_hoqd(*arguments, "--config", config)
                    self.assertEqual((done.returncode, done.stdout), (2, b""), done)
                    told = done.stderr.decode()
                    self.assertEqual(told.count("\n"), 1, told)
                    self.assertTrue(told.startswith(f"{config}:{number}: {key}: "), told)
                    self.assertIn(reason, told)

    @staticmethod
    def own_user():
        done = subprocess.run(["id", "-un"], capture_output=True, check=True, timeout=DEADLINE)
        return done.stdout.decode().strip()

    def test_wrong_usage_is_told(self):
        for arguments in (["--nonsense"], ["--config"], ["serve"]):
            done = self.run_hoqd(*arguments)
            self.assertEqual((done.returncode, done.stdout), (2, b""), arguments)
            self.assertNotEqual(done.stderr, b"")
        self.assertEqual(self.run_hoqd("--help").returncode, 0)
        self.assertRegex(self.run_hoqd("--version").stdout.decode(), r"^hoqd \d+\.\d+\.\d+\n$")

    def test_what_cannot_be_opened_is_told_with_its_key(self):
        with socket.create_server(("127.0.0.1", 0)) as taken:
            port = taken.getsockname()[1]
            cases = [
                (f'["127.0.0.1:{port}"]', "", "listen: "),
                (f'["unix:{self.dir}/none/s"]', "", "listen: "),
                ('["127.0.0.1:0"]', f'metrics = "127.0.0.1:{port}"', "metrics: "),
                ('["127.0.0.1:0"]', 'audit = "none/audit"', "audit: cannot open "),
            ]
            for listen, top, reason in cases:
                with self.subTest(listen=listen, top=top):
                    config = self.configure(listen=listen, top=top)
                    done = self.run_hoqd("--config", config)
                    self.assertEqual((done.returncode, done.stdout), (1, b""), done)
                    self.assertIn(reason, done.stderr.decode())

    def test_a_socket_in_a_folder_that_others_may_write_to_is_refused(self):
        self.make("open/")
        os.chmod(self.path("open"), 0o777)
        config = self.configure(listen=f'["unix:{self.dir}/open/s"]')
        done = self.run_hoqd("--config", config)
        self.assertEqual((done.returncode, done.stdout), (1, b""), done)
        self.assertRegex(done.stderr.decode(), r":1: listen: .*writ")


if __name__ == "__main__":
    main()
