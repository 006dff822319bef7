"""A line between a station and one listener that can be cut, stalled and held up."""
import contextlib
import select
import socket
import struct
import threading

PIECE_BYTES = 4096
PATIENCE_S = 60


class Line:
    """Forwards connections to a port of 127.0.0.1, from construction to close(). While it is
    dead, connections are taken and given up at once; while it stalls, nothing comes through, not
    even a new connection's answer."""

    def __init__(self, port):
        self._target = ("127.0.0.1", port)
        self._mutex = threading.Lock()
        self._open = set()
        self._dead = self._closing = False
        self._flowing = threading.Event()
        self._flowing.set()
        self._listener = socket.create_server(("127.0.0.1", 0))
        self.port = self._listener.getsockname()[1]
        self._threads = [threading.Thread(target=self._accept, daemon=True)]
        self._threads[0].start()

    def cut(self, most=None):
        """Resets what is connected, or so many of them at most; it stays dead until mend()."""
        with self._mutex:
            self._dead = True
            connections = list(self._open)[:most]
        for connection in connections:
            with contextlib.suppress(OSError):
                connection.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
                connection.shutdown(socket.SHUT_RDWR)

    def stall(self):
        self._flowing.clear()

    def mend(self):
        with self._mutex:
            self._dead = False
        self._flowing.set()

    def close(self):
        self._closing = True
        self.cut()
        self._flowing.set()
        with contextlib.suppress(OSError):
            self._listener.shutdown(socket.SHUT_RDWR)
        self._listener.close()
        for thread in self._threads:
            thread.join(PATIENCE_S)

    def _accept(self):
        while True:
            try:
                connection, _ = self._listener.accept()
            except OSError:
                return
            with self._mutex:
                if self._dead:
                    connection.close()
                    continue
                self._open.add(connection)
            thread = threading.Thread(target=self._forward, args=(connection,), daemon=True)
            self._threads = [one for one in self._threads if one.is_alive()] + [thread]
            thread.start()

    def _forward(self, listener):
        try:
            with socket.create_connection(self._target, PATIENCE_S) as station:
                other = {listener: station, station: listener}
                while True:
                    for source in select.select(list(other), [], [], PATIENCE_S)[0]:
                        self._flowing.wait()
                        if not (piece := source.recv(PIECE_BYTES)):
                            return
                        other[source].sendall(piece)
        except OSError:
            pass  # cut, or one side has gone
        finally:
            with self._mutex:
                self._open.discard(listener)
            listener.close()
