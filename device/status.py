"""The status service of the device, simulated on its loopback address."""

import contextlib
import socket
import threading
import time

from device.constants import STATUS_REQUEST, STATUS_SERVICE
from device.system import close_socket

DEFAULT_ANSWER = (
    b"inputName:HDMI1\rHDMI1Status:1\rHDMI1Resolution:1080p60\rname:Lobby\rstream:12\rmute:0\r"
)
SERVICE_MODES = {
    "answer": "answers and closes",
    "hold": "answers once and keeps the connection",
    "silent": "never answers and keeps the connection",
    "slow": "answers a byte every 100 ms and closes",
    "endless": "repeats the answer until the client closes",
    "close": "closes without an answer",
    "off": "does not listen: connections are refused",
}
_REQUEST_LIMIT_S = 1.0


class StatusService:
    """Serves any number of connections; the mode may change at any time.

    `requests` are all requests so far, b"" for a client that sent none in time. The mode "off"
    closes all connections.
    """

    def __init__(self, mode: str = "answer", answer: bytes = DEFAULT_ANSWER) -> None:
        self.requests: list[bytes] = []
        self.mode = "off"
        self.answer = answer
        self._listener: socket.socket | None = None
        self._open: set[socket.socket] = set()
        self.set(mode, answer)

    def set(self, mode: str, answer: bytes = DEFAULT_ANSWER) -> None:
        """Changes how later requests are answered; `mode` is one of SERVICE_MODES."""
        if mode not in SERVICE_MODES:
            raise ValueError(f"unknown mode of the status service: {mode}")
        self.mode, self.answer = mode, answer
        if mode == "off":
            self._stop()
        elif self._listener is None:
            self._listener = socket.create_server(STATUS_SERVICE, backlog=4096)
            threading.Thread(target=self._accept, args=(self._listener,), daemon=True).start()

    def close(self) -> None:
        """Stops listening and closes all connections."""
        self.set("off")

    def _stop(self) -> None:
        listener, self._listener = self._listener, None
        if listener:
            close_socket(listener)
        for connection in list(self._open):
            close_socket(connection)
        self._open.clear()

    def _accept(self, listener: socket.socket) -> None:
        while True:
            try:
                connection, _ = listener.accept()
            except OSError:
                if self._listener is not listener:
                    return
                raise
            if self.mode == "close":
                self.requests.append(b"")
                connection.close()
                continue
            self._open.add(connection)
            threading.Thread(target=self._serve, args=(connection,), daemon=True).start()

    def _serve(self, connection: socket.socket) -> None:
        try:
            self.requests.append(_read_request(connection))
            if self._respond(connection, self.mode, self.answer):
                _close(connection)
                self._open.discard(connection)
        except OSError:
            self._open.discard(connection)  # the client has closed it
            connection.close()

    def _respond(self, connection: socket.socket, mode: str, answer: bytes) -> bool:
        """Answers; returns whether the connection is to be closed."""
        if mode == "slow":
            for byte in answer:
                connection.sendall(bytes([byte]))
                time.sleep(0.1)
        elif mode == "endless":
            while True:
                connection.sendall(answer)
        elif mode in ("answer", "hold"):
            connection.sendall(answer)
        return mode in ("answer", "slow", "close")


def _read_request(connection: socket.socket) -> bytes:
    request = b""
    connection.settimeout(_REQUEST_LIMIT_S)
    with contextlib.suppress(TimeoutError):
        while STATUS_REQUEST not in request and (part := connection.recv(4096)):
            request += part
    connection.settimeout(None)
    return request


def _close(connection: socket.socket) -> None:
    """Closes after the client: unread bytes would reset the connection and discard the answer."""
    connection.shutdown(socket.SHUT_WR)
    connection.settimeout(0.5)
    with contextlib.suppress(TimeoutError):
        while connection.recv(4096):
            pass
    connection.close()
