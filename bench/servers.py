"""The servers that rows between nodes need: two hoqd with certificates of one authority, and an
sshd of our own. Each is a process of ours that is ended by its id."""

import os
import pwd
import shutil
import socket
import subprocess
import threading

from measure import Failed

DEADLINE = 30


class Server:
    """A process that runs until stop()."""

    def __init__(self, command, log):
        self.log = log
        with open(log, "wb") as errors:
            self.process = subprocess.Popen(command, stdin=subprocess.DEVNULL,
                                            stdout=subprocess.PIPE, stderr=errors)

    def line(self, start):
        """The rest of the first line on standard output that starts so."""
        killer = threading.Timer(DEADLINE, self.process.kill)
        killer.start()
        try:
            for line in self.process.stdout:
                text = line.decode(errors="replace").rstrip("\n")
                if text.startswith(start):
                    return text[len(start):]
        finally:
            killer.cancel()
        with open(self.log, errors="replace") as log:
            raise Failed(f"{self.process.args[0]} does not start: {log.read().strip()[-300:]}")

    def stop(self):
        self.process.terminate()
        try:
            self.process.wait(DEADLINE)
        except subprocess.TimeoutExpired:
            self.process.kill()
            self.process.wait()
        self.process.stdout.close()


def run(*command):
    done = subprocess.run(command, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                          stderr=subprocess.PIPE)
    if done.returncode != 0:
        raise Failed(f"{' '.join(command)}: {done.stderr.decode(errors='replace').strip()[:300]}")


class Authority:
    """Certificates of `hoq cert`."""

    def __init__(self, hoq, folder):
        self.hoq, self.folder = hoq, folder
        self.ca = os.path.join(folder, "ca.pem")
        run(hoq, "cert", "ca", "--out", folder)

    def issue(self, name):
        run(self.hoq, "cert", "issue", name, "--ca", self.folder, "--out", self.folder,
            "--host", "127.0.0.1")
        return tuple(os.path.join(self.folder, f"{name}.{end}") for end in ("pem", "key"))


FRONT = "hoq"  # the account that a daemon which root starts becomes


def _give_to_front(path):
    with open(path, "ab"):
        pass
    try:
        shutil.chown(path, FRONT, FRONT)
    except LookupError as error:
        raise Failed(f'there is no account "{FRONT}", which scripts/bench nodes makes') from error


class Node(Server):
    """A hoqd on a port that the system chooses; `clients` may do everything on it, as ourselves."""

    def __init__(self, hoqd, authority, name, clients, folder):
        certificate, key = authority.issue(name)
        if os.geteuid() == 0:
            os.chmod(folder, 0o755)
            _give_to_front(key)
            _give_to_front(os.path.join(folder, name + ".audit"))
        myself = pwd.getpwuid(os.geteuid()).pw_name
        entries = "".join(f'[[client]]\nname = "{client}"\nrights = ["read", "change"]\n'
                          for client in clients)
        config = os.path.join(folder, name + ".toml")
        with open(config, "w") as file:
            file.write(f'listen = ["127.0.0.1:0"]\nstate = "{name}.state"\n'
                       f'audit = "{name}.audit"\ndefault_run_as = "{myself}"\n'
                       f'[tls]\nca = "{authority.ca}"\ncert = "{certificate}"\nkey = "{key}"\n'
                       f"{entries}")
        super().__init__([hoqd, "--config", config], os.path.join(folder, name + ".log"))
        self.address = self.line("listening ")

    def processes(self):
        """(what it is, its process id) of the front, its spawner and the workers that are there."""
        parents = _parents()
        spawners = {process for process, parent in parents.items() if parent == self.process.pid}
        return [("front", self.process.pid), *(("spawner", process) for process in spawners),
                *(("worker", process) for process, parent in parents.items() if parent in spawners)]


def _parents():
    """The parent of every process."""
    found = {}
    for entry in os.listdir("/proc"):
        if entry.isdigit():
            try:
                with open(f"/proc/{entry}/stat") as file:
                    found[int(entry)] = int(file.read().rsplit(")", 1)[1].split()[1])
            except OSError:
                pass  # it has ended
    return found


class Sshd(Server):
    """OpenSSH's server on a port of its own, with keys and configuration in `folder`."""

    CIPHER = "aes128-gcm@openssh.com"

    def __init__(self, folder):
        sshd = shutil.which("sshd", path=os.environ.get("PATH", "") + ":/usr/sbin:/usr/local/sbin")
        if sshd is None:
            raise Failed("sshd is not installed")
        self.folder = folder
        self.made = self._separation_folder()
        for name in ("host", "user"):
            run("ssh-keygen", "-q", "-t", "ed25519", "-N", "", "-f", self._in(name))
        shutil.copy(self._in("user.pub"), self._in("authorized"))
        self.port = _free_port()
        with open(self._in("sshd_config"), "w") as file:
            file.write(f"ListenAddress 127.0.0.1:{self.port}\nHostKey {self._in('host')}\n"
                       f"AuthorizedKeysFile {self._in('authorized')}\nPidFile none\n"
                       "PermitRootLogin prohibit-password\nStrictModes no\nUsePAM no\n"
                       "PasswordAuthentication no\nSubsystem sftp internal-sftp\n")
        with open(self._in("host.pub")) as public, open(self._in("known"), "w") as known:
            known.write(f"[127.0.0.1]:{self.port} {public.read()}")
        self.config = self._in("ssh_config")
        with open(self.config, "w") as file:
            file.write(f"Host node\n HostName 127.0.0.1\n Port {self.port}\n"
                       f" IdentityFile {self._in('user')}\n IdentitiesOnly yes\n"
                       f" UserKnownHostsFile {self._in('known')}\n StrictHostKeyChecking yes\n"
                       f" BatchMode yes\n Compression no\n Ciphers {self.CIPHER}\n")
        super().__init__([sshd, "-D", "-e", "-f", self._in("sshd_config")], self._in("sshd.log"))
        try:
            self._await()
        except Failed:
            self.stop()
            raise

    def _in(self, name):
        return os.path.join(self.folder, name)

    @staticmethod
    def _separation_folder():
        """Debian's service makes this folder, without which sshd does not start for root."""
        if os.geteuid() != 0 or os.path.isdir("/run/sshd"):
            return None
        os.mkdir("/run/sshd", 0o755)
        return "/run/sshd"

    def _await(self):
        """Until it lets us in."""
        command = ("ssh", "-F", self.config, "-o", "ConnectionAttempts=20", "node", "true")
        done = subprocess.run(command, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                              stderr=subprocess.PIPE, timeout=DEADLINE)
        if done.returncode != 0 or self.process.poll() is not None:
            raise Failed("sshd of our own: " + done.stderr.decode(errors="replace").strip()[:300])

    def stop(self):
        super().stop()
        if self.made:
            os.rmdir(self.made)


def _free_port():
    """sshd cannot be asked which port it was given, so it is told one that was free just now."""
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]
