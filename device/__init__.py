"""The simulated device: its system, status service and receivers, and the daemon on it.

Programs enter it by `device/enter PROGRAM`; everything else here is for use inside.
"""

# ruff: noqa: F401
from device.daemon import Daemon, Usage
from device.receivers import Arrival, TcpReceiver, UdpReceiver
from device.status import StatusService
from device.system import (
    add_address,
    read_file,
    reset,
    route_multicast,
    send_tcp,
    send_udp,
    set_param,
    set_uptime,
    step_lines,
    wait_until,
    write_file,
)
