"""Constants of the daemon, read from the headers that define them."""

import ast
import re
from pathlib import Path

_CORE = Path(__file__).resolve().parent.parent / "core"


def _constant(name: str, header: str = "network.h"):
    value = re.search(rf"\b{name}(?:\[\])? = (.+?);", (_CORE / header).read_text())
    if not value:
        raise RuntimeError(f"core/{header} does not define {name}")
    return ast.literal_eval(value[1])


COMMANDS = f"tcp:{_constant('kCommandPort')}"
VARIABLES = f"udp:{_constant('kVariablePort')}"
VARIABLES_TCP = f"tcp:{_constant('kVariablePort')}"
STATUS_LINES = f"udp:{_constant('kStatusPort')}"
CHANNELS = (COMMANDS, VARIABLES, VARIABLES_TCP, STATUS_LINES)
STATUS_SERVICE = (_constant("kStatusServiceAddress"), _constant("kStatusServicePort"))
STATUS_REQUEST = _constant("kStatusRequest").encode()
MIN_STATUS_LINES = _constant("kMinStatusVars")
REPLY_TIMEOUT_S = _constant("kReplyTimeoutMs") / 1000
EVENT_LIFE_S = _constant("kEventLifeS", "event_rules.h")
