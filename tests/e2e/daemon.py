"""What the daemon's end-to-end tests share: a running hoqd with certificates, and clients.

Nothing here sleeps: whoever waits, waits for a line, a byte or an end, for at most DEADLINE.
"""

import importlib
import os
import pwd
import re
import signal
import socket
import ssl
import subprocess
import sys
import tempfile
import threading
import unittest

import grpc

from certificates import Authority
from hoqtest import BIN, HoqTest, environment

DEADLINE = 60
IS_ROOT = os.geteuid() == 0
FRONT = "games"  # the account that a front started as root becomes here; every Debian has it
HOQD = os.path.join(BIN, "hoqd")
API = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "api")


def load_api():
    """The messages of the interface, generated for this run."""
    folder = tempfile.TemporaryDirectory()
    names = ("agent", "filer", "haul", "records")
    subprocess.run(["protoc", "-I", API, f"--python_out={folder.name}",
                    *(f"hoq/v1/{name}.proto" for name in names)], check=True, timeout=DEADLINE)
    sys.path.insert(0, folder.name)
    return folder, *(importlib.import_module(f"hoq.v1.{name}_pb2") for name in names[:2])


_folder, agent_pb2, filer_pb2 = load_api()


class Lines:
    """The lines of a stream as they come, read by a thread of its own."""

    def __init__(self, stream):
        self.all = []
        self.ended = False
        self._changed = threading.Condition()
        self._thread = threading.Thread(target=self._read, args=(stream,), daemon=True)
        self._thread.start()

    def _read(self, stream):
        with stream:
            for line in stream:
                with self._changed:
                    self.all.append(line.decode(errors="replace").rstrip("\n"))
                    self._changed.notify_all()
        with self._changed:
            self.ended = True
            self._changed.notify_all()

    def wait(self, pattern, count=1):
        """The `count`-th line that the pattern is found in."""
        def found():
            return [line for line in list(self.all) if re.search(pattern, line)]
        with self._changed:
            if self._changed.wait_for(lambda: len(found()) >= count or self.ended, DEADLINE):
                if len(found()) >= count:
                    return found()[count - 1]
        raise AssertionError(f"{pattern!r} never came {count} times:\n" + "\n".join(self.all))

    def finish(self):
        self._thread.join(DEADLINE)
        return "\n".join(self.all)


def children(pid):
    done = subprocess.run(["pgrep", "-P", str(pid)], capture_output=True, timeout=DEADLINE)
    return [int(line) for line in done.stdout.split()]


def give_to_front(path):
    """The front reads its key, and writes its audit, as its own user."""
    if IS_ROOT:
        account = pwd.getpwnam(FRONT)
        os.chown(path, account.pw_uid, account.pw_gid)


class Daemon:
    """A hoqd that runs until stop()."""

    def __init__(self, config, env=None, command=None):
        self.process = subprocess.Popen(command or [HOQD, "--config", config],
                                        stdin=subprocess.DEVNULL,
                                        stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                                        env=env or environment())
        self.out = Lines(self.process.stdout)
        self.log = Lines(self.process.stderr)

    def address(self, number=1):
        """The address behind the `number`-th "listening" line."""
        return self.out.wait("^listening ", number).split(" ", 1)[1]

    def port(self, number=1):
        return int(self.address(number).rsplit(":", 1)[1])

    def metrics_port(self):
        return int(self.out.wait("^metrics ").rsplit(":", 1)[1])

    def signal(self, number):
        self.process.send_signal(number)

    def reload(self, outcome="is in force"):
        count = sum(outcome in line for line in list(self.log.all))
        self.signal(signal.SIGHUP)
        self.log.wait(outcome, count + 1)

    def spawner(self):
        return children(self.process.pid)[0]

    def workers(self):
        """The worker processes that are there, by their pids."""
        return children(self.spawner())

    def wait(self):
        return self.process.wait(timeout=DEADLINE)

    def stop(self):
        if self.process.poll() is None:
            self.process.kill()
        self.process.wait(timeout=DEADLINE)
        self.out.finish()
        # Workers hold the log's other end: it ends with the last of them.
        self.log.finish()


class Requests:
    """What an upload of one file of two bytes sends: the first at once, the second with finish()."""

    def __init__(self, path):
        self._path = path
        self._go_on = threading.Event()

    def finish(self):
        self._go_on.set()

    def __iter__(self):
        item = filer_pb2.TransferItem(path=self._path, size=2)
        yield filer_pb2.UploadRequest(start=filer_pb2.UploadStart(items=[item], mode=0o644))
        yield filer_pb2.UploadRequest(data=b"1")
        self._go_on.wait()
        yield filer_pb2.UploadRequest(data=b"2")
        yield filer_pb2.UploadRequest(end=filer_pb2.UploadRequest.ItemEnd())


class Client:
    """A stock gRPC client."""

    def __init__(self, channel):
        self.channel = channel

    def close(self):
        self.channel.close()

    def info(self):
        call = self.channel.unary_unary(
            "/hoq.v1.Agent/Info", request_serializer=agent_pb2.InfoRequest.SerializeToString,
            response_deserializer=agent_pb2.InfoReply.FromString)
        return call(agent_pb2.InfoRequest(), timeout=DEADLINE)

    def begin(self, method, request):
        call = self.channel.unary_stream(
            f"/hoq.v1.Filer/{method}", request_serializer=type(request).SerializeToString,
            response_deserializer=filer_pb2.FilerReply.FromString)
        return call(request, timeout=DEADLINE)

    def upload(self, requests):
        call = self.channel.stream_stream(
            "/hoq.v1.Filer/Upload",
            request_serializer=filer_pb2.UploadRequest.SerializeToString,
            response_deserializer=filer_pb2.FilerReply.FromString)
        return call(iter(requests), timeout=DEADLINE)

    @staticmethod
    def events(call):
        return [event for reply in call for event in reply.events]

    def filer(self, method, request):
        """The result's code and the errors' texts."""
        events = self.events(self.begin(method, request))
        errors = [event.error.message.decode() for event in events
                  if event.WhichOneof("kind") == "error"]
        return events[-1].result.code, errors

    def list_code(self, path="/"):
        return self.filer("List", filer_pb2.ListRequest(paths=[path.encode()]))[0]

    def mkdir(self, path):
        return self.filer("Mkdir", filer_pb2.MkdirRequest(paths=[os.fsencode(path)]))


class DaemonTest(HoqTest):
    """A test with an authority, a node's certificate and, once started, a daemon."""

    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls._shared = tempfile.TemporaryDirectory()
        cls.addClassCleanup(cls._shared.cleanup)
        os.chmod(cls._shared.name, 0o755)
        cls.authority = Authority(os.path.join(cls._shared.name, "authority"))
        cls.node = cls.authority.issue("node", "DNS:localhost,IP:127.0.0.1")
        cls.certificates = {}

    def certificate(self, name, names=None):
        if name not in self.certificates:
            self.certificates[name] = self.authority.issue(name, names)
        return self.certificates[name]

    def configure(self, *clients, listen='["127.0.0.1:0"]', top="", limits="", revoked="",
                  node=None, name="hoqd.toml"):
        """Writes the configuration; `clients` are (name, rights[, more keys]) in order."""
        node = node or self.node
        text = f'listen = {listen}\nstate = "{name}.state"\n{top}\n'
        if IS_ROOT:
            text += f'user = "{FRONT}"\n' if "user =" not in top else ""
            text += 'default_run_as = "root"\n' if "default_run_as" not in top else ""
            give_to_front(node.key)
        if audit := re.search(r'audit = "([^/"]+)"', top):
            with open(self.path(audit.group(1)), "ab"):
                give_to_front(self.path(audit.group(1)))
        text += (f'[tls]\nca = "{self.authority.pem}"\ncert = "{node.pem}"\n'
                 f'key = "{node.key}"\n')
        if revoked:
            text += f'revoked = "{revoked}"\n'
        text += f"[limits]\n{limits}\n"
        for client, rights, *more in clients:
            quoted = ", ".join(f'"{right}"' for right in rights.split())
            text += f'[[client]]\nname = "{client}"\nrights = [{quoted}]\n'
            text += "".join(f"{line}\n" for line in more)
        file = os.path.join(self.dir, name)
        with open(file, "w", encoding="utf-8") as stream:
            stream.write(text)
        return file

    def front_folder(self):
        """A folder of the front's user, who can remove names from it."""
        folder = os.path.join(self.dir, "front")
        os.makedirs(folder, exist_ok=True)
        give_to_front(folder)
        return folder

    def start(self, config, env=None):
        daemon = Daemon(config, env)
        self.addCleanup(daemon.stop)
        daemon.address()
        return daemon

    def serve(self, *clients, **more):
        """Configures and starts; the first address is listened on when this returns."""
        return self.start(self.configure(*clients, **more))

    def client(self, daemon, name, names=None, certificate=None, number=1):
        certificate = certificate or self.certificate(name, names)

        def read(file):
            with open(file, "rb") as stream:
                return stream.read()
        credentials = grpc.ssl_channel_credentials(
            read(self.authority.pem), read(certificate.key), read(certificate.pem))
        return self._client(grpc.secure_channel(
            daemon.address(number), credentials, options=[("grpc.use_local_subchannel_pool", 1)]))

    def unix_client(self, path):
        return self._client(grpc.insecure_channel(
            "unix:" + path, options=[("grpc.use_local_subchannel_pool", 1)]))

    def _client(self, channel):
        client = Client(channel)
        self.addCleanup(client.close)
        return client

    def tcp(self, daemon, source="127.0.0.1"):
        connected = socket.create_connection(("127.0.0.1", daemon.port()), timeout=DEADLINE,
                                             source_address=(source, 0))
        self.addCleanup(connected.close)
        return connected

    def tls(self, daemon, certificate=None, alpn=("h2",), source="127.0.0.1"):
        """A TLS stream by Python's own, for what no stock client would do."""
        context = ssl.SSLContext(ssl.PROTOCOL_TLS_CLIENT)
        context.load_verify_locations(self.authority.pem)
        if alpn:
            context.set_alpn_protocols(list(alpn))
        if certificate:
            context.load_cert_chain(certificate.pem, certificate.key)
        stream = context.wrap_socket(self.tcp(daemon, source), server_hostname="localhost")
        self.addCleanup(stream.close)
        return stream

    def metrics(self, daemon):
        """The daemon's metrics by their names with labels."""
        with socket.create_connection(("127.0.0.1", daemon.metrics_port()), DEADLINE) as visit:
            visit.sendall(b"GET /metrics HTTP/1.1\r\nHost: localhost\r\n\r\n")
            text = read_all(visit).decode()
        body = text.split("\r\n\r\n", 1)[1]
        rows = [line.rsplit(" ", 1) for line in body.splitlines() if line[0] != "#"]
        return {name: float(value) for name, value in rows}

    def assert_lost(self, call):
        """The call ends since its connection does."""
        with self.assertRaises(grpc.RpcError) as caught:
            call()
        self.assertIn(caught.exception.code(),
                      (grpc.StatusCode.UNAVAILABLE, grpc.StatusCode.CANCELLED,
                       grpc.StatusCode.INTERNAL, grpc.StatusCode.UNKNOWN), caught.exception)


def read_all(connected):
    """What comes until the other side ends or breaks the connection."""
    pieces = []
    try:
        while piece := connected.recv(65536):
            pieces.append(piece)
    except (ConnectionResetError, ssl.SSLError):
        pass
    return b"".join(pieces)


main = unittest.main
