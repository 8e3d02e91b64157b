"""The simulated device: its system, its status service, receivers, and the daemon.

`device/enter PROGRAM` runs a program on it; everything else here is used by such programs.
"""

# ruff: noqa: F401
from device.daemon import Daemon, Usage
from device.receivers import Arrival, TcpReceiver, UdpReceiver
from device.status import StatusService
from device.system import add_address, read_file, reset, send_tcp, send_udp
from device.system import set_param, set_uptime, step_lines, wait_until, write_file
