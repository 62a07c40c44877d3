"""A relay between two programs that does to the bytes what networks do: it delays, cuts, corrupts
and stops passing them on."""

import socket
import threading

DEADLINE = 60
PIECE = 16384


class Relay:
    """Listens on a port of its own and passes everything on to `port`, until a fault is set.

    `fault` strikes once, when `after` bytes have come from the side `of` ("client" or "server") on
    all connections since it was set: "cut" ends the connection, "flip" changes one bit and goes on,
    "stall" passes nothing on from then on, both ways, and does not end it.
    `pace` passes pieces of so many bytes on, one in so many seconds.
    """

    def __init__(self, port):
        self.struck = threading.Event()
        self._port = port
        self._lock = threading.Lock()
        self._fault, self._of, self._left = None, None, 0
        self._pace = None
        self._over = threading.Event()
        self._sockets = []
        self._listener = socket.create_server(("127.0.0.1", 0))
        self.port = self._listener.getsockname()[1]
        self.address = f"127.0.0.1:{self.port}"
        self.connections = 0
        threading.Thread(target=self._accept, daemon=True).start()

    def fault(self, kind, after=0, of="client"):
        with self._lock:
            self.struck.clear()
            self._fault, self._of, self._left = kind, of, after

    def pace(self, count, seconds):
        self._pace = (count, seconds)

    def await_struck(self):
        if not self.struck.wait(DEADLINE):
            raise AssertionError("the fault never struck")

    def heal(self):
        """Ends every connection; new ones pass undisturbed."""
        with self._lock:
            self._fault, self._pace = None, None
            sockets, self._sockets = self._sockets, []
            self._over.set()
            self._over = threading.Event()
        for each in sockets:
            end(each)

    def close(self):
        # A thread that waits in accept() holds the socket: only this wakes it.
        end(self._listener)
        self._listener.close()
        self.heal()

    def _accept(self):
        while True:
            try:
                client, _ = self._listener.accept()
            except OSError:
                return
            try:
                server = socket.create_connection(("127.0.0.1", self._port), DEADLINE)
            except OSError:
                client.close()
                continue
            server.settimeout(None)
            with self._lock:
                self.connections += 1
                self._sockets += [client, server]
                over = self._over
            threading.Thread(target=self._serve, args=(client, server, over), daemon=True).start()

    def _serve(self, client, server, over):
        with client, server:
            back = threading.Thread(target=self._pass, args=("server", server, client, over),
                                    daemon=True)
            back.start()
            self._pass("client", client, server, over)
            back.join()
            with self._lock:
                self._sockets = [each for each in self._sockets if each not in (client, server)]

    def _pass(self, name, source, target, over):
        stalled = False
        try:
            while piece := source.recv(self._pace[0] if self._pace else PIECE):
                if self._pace:
                    over.wait(self._pace[1])
                kind, piece = self._strike(name, piece)
                stalled = stalled or kind == "stall"
                if stalled or self._stalls():
                    over.wait()
                    return
                target.sendall(piece)
                if kind == "cut":
                    end(source)
                    end(target)
                    return
            target.shutdown(socket.SHUT_WR)
        except OSError:
            end(source)
            end(target)

    def _stalls(self):
        return self._fault == "stall" and self.struck.is_set()

    def _strike(self, name, piece):
        """The fault that strikes in this piece, and what is passed on of it."""
        with self._lock:
            if self._fault is None or self._of != name or self.struck.is_set():
                return None, piece
            if self._left >= len(piece):
                self._left -= len(piece)
                return None, piece
            self.struck.set()
            at, kind = self._left, self._fault
            if kind == "flip":
                return kind, piece[:at] + bytes([piece[at] ^ 1]) + piece[at + 1:]
            return kind, piece[:at]


def end(connected):
    try:
        connected.shutdown(socket.SHUT_RDWR)
    except OSError:  # it has ended already
        pass
