"""Receivers that record messages with the time stamps of the kernel, and one that never answers."""

import bisect
import socket
import struct
import threading
from typing import NamedTuple

from device.system import close_socket, wait_until

_SO_TIMESTAMPNS = 35
_SO_RCVBUFFORCE = 33
_QUIET_S = 0.05  # without bytes: then a TCP message is complete
_BUFFER = 8 << 20
# The kernel stamps packets while any socket asks for it, and starts with a delay.
_stamping = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
_stamping.setsockopt(socket.SOL_SOCKET, _SO_TIMESTAMPNS, 1)


class Arrival(NamedTuple):
    """A message and its time, in nanoseconds since the epoch."""

    at_ns: int
    data: bytes


def _receive(sock: socket.socket) -> tuple[bytes, int]:
    """Returns the next bytes and their time stamp; b"" and 0 at the end."""
    data, ancillary, _, _ = sock.recvmsg(1 << 16, socket.CMSG_SPACE(16))
    for level, kind, stamp in ancillary:
        if (level, kind) == (socket.SOL_SOCKET, _SO_TIMESTAMPNS):
            seconds, nanoseconds = struct.unpack("ll", stamp)
            return data, seconds * 10**9 + nanoseconds
    if data:
        raise RuntimeError("the kernel gave no time stamp")
    return data, 0


def _bind(kind: int, address: str, port: int) -> socket.socket:
    sock = socket.socket(socket.AF_INET, kind)
    sock.setsockopt(socket.SOL_SOCKET, _SO_TIMESTAMPNS, 1)
    if kind == socket.SOCK_STREAM:
        sock.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
    sock.bind((address, port))
    return sock


class _Receiver:
    """The arrivals of a receiver; its own threads add them, any thread may read them."""

    def __init__(self, sock: socket.socket) -> None:
        self.port = sock.getsockname()[1]
        self._socket = sock
        self._closing = False
        self._lock = threading.Lock()  # guards the next one
        self._arrivals: list[Arrival] = []

    @property
    def arrivals(self) -> list[Arrival]:
        """Returns all arrivals so far, in the order of their time stamps."""
        with self._lock:
            return list(self._arrivals)

    def wait(self, count: int, timeout: float = 10.0) -> bool:
        """Waits for `count` arrivals; returns False after `timeout` seconds."""
        return wait_until(lambda: len(self._arrivals) >= count, timeout)

    def close(self) -> None:
        """Closes the port."""
        self._closing = True
        close_socket(self._socket)

    def _record(self, at_ns: int, data: bytes) -> None:
        with self._lock:
            bisect.insort(self._arrivals, Arrival(at_ns, data), key=lambda one: one.at_ns)


class UdpReceiver(_Receiver):
    """Receives datagrams, also of a multicast group; port 0 is any free one."""

    def __init__(self, port: int = 0, address: str = "127.0.0.1") -> None:
        sock = _bind(socket.SOCK_DGRAM, address, port)
        try:
            sock.setsockopt(socket.SOL_SOCKET, _SO_RCVBUFFORCE, _BUFFER)
        except PermissionError:  # a user namespace cannot exceed the system's limit
            sock.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, _BUFFER)
        if 224 <= int(address.split(".")[0]) < 240:
            group = socket.inet_aton(address) + bytes(4)
            sock.setsockopt(socket.IPPROTO_IP, socket.IP_ADD_MEMBERSHIP, group)
        super().__init__(sock)
        threading.Thread(target=self._run, daemon=True).start()

    def _run(self) -> None:
        while True:
            try:
                data, at_ns = _receive(self._socket)
            except OSError:
                if not self._closing:
                    raise
            if self._closing:
                return
            self._record(at_ns, data)


class TcpReceiver(_Receiver):
    """Receives by TCP: an arrival is complete when its peer closes or sends nothing for 50 ms.

    With a reply, it answers the first bytes of a connection and closes it after its peer; without
    one, it never answers and keeps the connection until `close`. The time of an arrival is that of
    its first bytes. `connections` counts all accepted connections, also those without a byte.
    """

    def __init__(self, port: int = 0, address: str = "127.0.0.1", reply: bytes = b"") -> None:
        sock = _bind(socket.SOCK_STREAM, address, port)
        sock.listen(4096)
        super().__init__(sock)
        self.connections = 0
        self._reply = reply
        self._open: list[socket.socket] = []
        threading.Thread(target=self._accept, daemon=True).start()

    def _accept(self) -> None:
        while True:
            try:
                connection, _ = self._socket.accept()
            except OSError:
                if self._closing:
                    return
                raise
            self._open.append(connection)
            self.connections += 1
            threading.Thread(target=self._run, args=(connection,), daemon=True).start()

    def _run(self, connection: socket.socket) -> None:
        data, first_ns, replied = b"", 0, False
        try:
            while True:
                connection.settimeout(_QUIET_S if data else None)
                try:
                    part, at_ns = _receive(connection)
                except TimeoutError:
                    self._record(first_ns, data)
                    data = b""
                    continue
                if not part:
                    break
                first_ns, data = first_ns if data else at_ns, data + part
                if self._reply and not replied:
                    connection.sendall(self._reply)
                    replied = True
        except OSError:
            pass  # reset by the peer
        if data:
            self._record(first_ns, data)
        if self._reply:
            self._open.remove(connection)
            connection.close()

    def close(self) -> None:
        """Closes the port and all connections."""
        super().close()
        for connection in list(self._open):
            close_socket(connection)


class SilentReceiver(_Receiver):
    """A TCP port where no connection is established: its queue is full, so no SYN is answered."""

    def __init__(self, port: int = 0, address: str = "127.0.0.1") -> None:
        sock = _bind(socket.SOCK_STREAM, address, port)
        sock.listen(0)  # room for one connection
        super().__init__(sock)
        self._filling = socket.create_connection((address, self.port), timeout=1)
