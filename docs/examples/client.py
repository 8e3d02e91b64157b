#!/usr/bin/python3
"""A program on the device that uses the daemon: follows variables, reads and sets one, fires an event.

Try it on the simulated device: ./run --with docs/examples/client.py
"""

import socket

DAEMON = ("127.0.0.1", 2727)  # messages by UDP or TCP
TRIGGERS = ("127.0.0.1", 2700)  # triggers by TCP
TIMEOUT_S = 5.0

# The daemon answers and notifies by new datagrams, each from another port of its own.
receiver = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
receiver.bind(("127.0.0.1", 0))
receiver.settimeout(TIMEOUT_S)
own_port = receiver.getsockname()[1]


def send(message: str) -> None:
    """Sends one message of the command language; nothing is returned on this socket."""
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as sender:
        sender.sendto(message.encode(), DAEMON)


def receive(name: str) -> str:
    """Returns the value of the next line "name=value", passing over other variables."""
    while True:
        text = receiver.recv(4096).decode(errors="replace")
        for line in text.splitlines():
            found, _, value = line.partition("=")
            if found.lower() == name.lower():  # names are case-insensitive
                return value


def fire(trigger: str) -> None:
    """Fires the event with that trigger; one connection carries one message."""
    with socket.create_connection(TRIGGERS, timeout=TIMEOUT_S) as connection:
        connection.sendall(trigger.encode() + b"\n")


# A restarted daemon has forgotten its clients: register again from time to time.
send(f"client_add_udp::127.0.0.1::{own_port}")

send("set::ROOM::Lobby")
print("notified: ROOM =", receive("ROOM"))

send(f"get_udp::ROOM::127.0.0.1::{own_port}")
print("read:     ROOM =", receive("ROOM"))

# An unknown variable reads as an empty value.
send(f"get_udp::NO_SUCH_VARIABLE::127.0.0.1::{own_port}")
print("read:     NO_SUCH_VARIABLE =", repr(receive("NO_SUCH_VARIABLE")))

fire("doorState=open")
print("fired:    doorState")

send(f"client_del_udp::127.0.0.1::{own_port}")
