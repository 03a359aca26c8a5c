"""What a failed call raises: `DeviceError` and one subclass per way a call can fail.

    DeviceError                      any failure; .kind says which
    ├── DeviceArgumentError          BAD_ARGUMENT (also a ValueError)
    ├── DeviceUnreachable            CONNECT_FAILED, NOT_CONNECTED
    │   └── DeviceConnectionLost     CONNECTION_LOST, SEND_FAILED
    ├── DeviceTimeout                TIMEOUT
    ├── DeviceRefused                REFUSED (.response_code is the device's)
    └── DeviceAnswerError            BAD_ANSWER

CLOSING and INIT_FAILED raise `DeviceError` itself.
"""

from __future__ import annotations

from enum import IntEnum
from typing import Any, Optional


class ErrorKind(IntEnum):
    """Why a call failed, as the library reports it (qz_ndsx_error_kind)."""

    OK = 0
    BAD_ARGUMENT = 1
    NOT_CONNECTED = 2
    CONNECT_FAILED = 3
    SEND_FAILED = 4
    TIMEOUT = 5
    REFUSED = 6
    BAD_ANSWER = 7
    CONNECTION_LOST = 8
    CLOSING = 9
    INIT_FAILED = 10


class DeviceError(Exception):
    """A call failed.

    `function` is the library export that failed ("qz_nds_set_framerate"), `address`
    the device's, `kind` an ErrorKind (a plain int for a kind of a newer library),
    `response_code` the device's code for a refusal (else 0), `command` the (main, sub)
    command of the exchange that failed, or None when the call failed before one was
    under way. `report` is the report of a `Device.apply_config()` that failed as a whole
    (else None).
    """

    report: Optional[dict[str, Any]] = None

    def __init__(
        self,
        function: str,
        address: str,
        detail: str = "",
        *,
        kind: int = ErrorKind.OK,
        response_code: int = 0,
        command: Optional[tuple[int, int]] = None,
    ) -> None:
        self.function = function
        self.address = address
        self.kind = kind
        self.response_code = response_code
        self.command = command
        notes = [f"response code {response_code}"] if kind == ErrorKind.REFUSED else []
        if command is not None:
            notes.append(f"command {command[0]}/{command[1]}")
        text = f"{function} failed on {address}" + (f": {detail}" if detail else "")
        super().__init__(text + (f" ({', '.join(notes)})" if notes else ""))

    @property
    def operation(self) -> str:
        """The export's name, as `function` (the name earlier versions used)."""
        return self.function


class DeviceArgumentError(DeviceError, ValueError):
    """The library refused an argument before sending anything (e.g. a request that needs
    the serial number before `read_config()` brought it)."""


class DeviceUnreachable(DeviceError):
    """No connection: the device could not be reached, or the session is not connected
    (open or `connect()` again)."""


class DeviceConnectionLost(DeviceUnreachable):
    """The connection broke during the call: the request could not be sent, or the
    connection ended before the answer came."""


class DeviceTimeout(DeviceError):
    """The device did not answer within the library's 10 s; the connection stays."""


class DeviceRefused(DeviceError):
    """The device answered with a non-zero `response_code`: it refused the value or the
    request. The session keeps what it had."""


class DeviceAnswerError(DeviceError):
    """The device accepted the request, but its answer could not be used."""


_CLASSES: dict[int, type[DeviceError]] = {
    ErrorKind.BAD_ARGUMENT: DeviceArgumentError,
    ErrorKind.NOT_CONNECTED: DeviceUnreachable,
    ErrorKind.CONNECT_FAILED: DeviceUnreachable,
    ErrorKind.SEND_FAILED: DeviceConnectionLost,
    ErrorKind.CONNECTION_LOST: DeviceConnectionLost,
    ErrorKind.TIMEOUT: DeviceTimeout,
    ErrorKind.REFUSED: DeviceRefused,
    ErrorKind.BAD_ANSWER: DeviceAnswerError,
}


def make_error(
    function: str,
    address: str,
    detail: str,
    kind: int,
    response_code: int = 0,
    command: Optional[tuple[int, int]] = None,
) -> DeviceError:
    """The fitting DeviceError subclass for a failure of `kind`."""
    try:
        kind = ErrorKind(kind)
    except ValueError:
        pass  # a kind of a newer library: a plain DeviceError with its number
    cls = _CLASSES.get(kind, DeviceError)
    return cls(function, address, detail, kind=kind, response_code=response_code, command=command)
