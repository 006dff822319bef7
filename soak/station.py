"""A station on loopback that does to its listeners whatever a plan says, wrong things above all."""
import contextlib
import socket
import ssl
import struct
import threading

PATIENCE_S = 60  # how long a connection is held at most
MAX_REQUEST_BYTES = 65536
TLS_HANDSHAKE = b"\x16"  # the first byte of one


def head(content_type="audio/wav", status="200 OK", fields=()):
    lines = [f"HTTP/1.1 {status}", f"Content-Type: {content_type}", "Connection: close", *fields]
    return "\r\n".join(lines).encode() + b"\r\n\r\n"


def whole(content_type, body, fields=()):
    """With its length: without one, the end of a connection is the failure of a source."""
    return head(content_type, fields=[f"Content-Length: {len(body)}", *fields]) + body


# The steps of a plan. Each is called with the connection and the event that ends the station.
def send(data):
    return lambda connection, _: connection.sendall(data)


def drip(data, piece_bytes, pause_s):
    """In pieces, as a live station does."""

    def step(connection, closing):
        for at in range(0, len(data), piece_bytes):
            connection.sendall(data[at : at + piece_bytes])
            if closing.wait(pause_s):
                return

    return step


def stall(connection, _):
    """Sends nothing more until the listener has gone."""
    while connection.recv(4096):
        pass


def reset(connection, _):
    connection.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))


class Station:
    """Listens from construction to close(). A path that has no plan is answered 404."""

    def __init__(self, certificate=None):
        self.plans = {}  # path: list of steps; replaced as a whole, from any thread
        self._closing = threading.Event()
        self._open = set()
        self._mutex = threading.Lock()
        self._tls = None
        if certificate:
            self._tls = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
            self._tls.load_cert_chain(certificate)
        self._listener = socket.create_server(("127.0.0.1", 0))
        self.port = self._listener.getsockname()[1]
        self._threads = [threading.Thread(target=self._accept, daemon=True)]
        self._threads[0].start()

    def url(self, path, scheme=None):
        return f"{scheme or ('https' if self._tls else 'http')}://127.0.0.1:{self.port}{path}"

    def close(self):
        self._closing.set()
        with contextlib.suppress(OSError):
            self._listener.shutdown(socket.SHUT_RDWR)
        self._listener.close()
        with self._mutex:
            connections = list(self._open)
        for connection in connections:
            with contextlib.suppress(OSError):
                connection.shutdown(socket.SHUT_RDWR)
        for thread in self._threads:
            thread.join(PATIENCE_S)

    def _accept(self):
        while not self._closing.is_set():
            try:
                connection, _ = self._listener.accept()
            except OSError:
                return
            thread = threading.Thread(target=self._serve, args=(connection,), daemon=True)
            self._threads = [one for one in self._threads if one.is_alive()] + [thread]
            thread.start()

    def _serve(self, connection):
        with self._mutex:
            self._open.add(connection)
        plain = connection
        try:
            connection.settimeout(PATIENCE_S)
            if self._tls:
                connection = self._tls.wrap_socket(connection, server_side=True)
            request = b""
            while b"\r\n\r\n" not in request and len(request) < MAX_REQUEST_BYTES:
                if request.startswith(TLS_HANDSHAKE):
                    return connection.sendall(head("text/plain", "400 Bad Request"))
                more = connection.recv(4096)
                if not more:
                    return
                request += more
            path = request.split(b" ", 2)[1].decode("latin-1")
            for step in self.plans.get(path, [send(head("text/plain", "404 Not Found"))]):
                step(connection, self._closing)
        except (OSError, IndexError):
            pass  # the listener has heard enough, or is none
        finally:
            with self._mutex:
                self._open.discard(plain)
            connection.close()
            plain.close()
