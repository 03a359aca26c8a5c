"""Argument checks made before a call reaches the library, and text conversion."""

from __future__ import annotations

from typing import Optional, Union

Text = Union[str, bytes]

U8_MAX = 0xFF
U16_MAX = 0xFFFF
U32_MAX = 0xFFFF_FFFF
I32_MIN, I32_MAX = -(2**31), 2**31 - 1


def integer(name: str, value: object, low: int, high: int) -> int:
    """`value` as an int in [low, high]: TypeError for another type (bool included),
    ValueError naming the range outside it."""
    if isinstance(value, bool) or not isinstance(value, int):
        raise TypeError(f"{name} must be an integer from {low} to {high}, not {value!r}")
    if not low <= value <= high:
        raise ValueError(f"{name} must be from {low} to {high}, not {value}")
    return value


def u8(name: str, value: object) -> int:
    return integer(name, value, 0, U8_MAX)


def u16(name: str, value: object) -> int:
    return integer(name, value, 0, U16_MAX)


def u32(name: str, value: object) -> int:
    return integer(name, value, 0, U32_MAX)


def i32(name: str, value: object) -> int:
    return integer(name, value, I32_MIN, I32_MAX)


def flag(name: str, value: object) -> int:
    """A switch value: True/False or 1/0, as the byte 1 or 0."""
    return int(value) if isinstance(value, bool) else integer(name, value, 0, 1)


def encode(name: str, value: Text, max_bytes: Optional[int] = None, allow_nul: bool = False) -> bytes:
    """A text as the bytes the library takes (str as UTF-8); NUL ends a C text, so it is refused."""
    if isinstance(value, str):
        data = value.encode("utf-8", "surrogateescape")
    elif isinstance(value, (bytes, bytearray, memoryview)):
        data = bytes(value)
    else:
        raise TypeError(f"{name} must be str or bytes, not {type(value).__name__}")
    if not allow_nul and b"\0" in data:
        raise ValueError(f"{name} must not contain a NUL byte")
    if max_bytes is not None and len(data) > max_bytes:
        raise ValueError(f"{name} must be 0 to {max_bytes} bytes long, not {len(data)}")
    return data


def block(name: str, value: object, max_bytes: int = U32_MAX) -> bytes:
    """Opaque bytes (NULs allowed)."""
    if not isinstance(value, (bytes, bytearray, memoryview)):
        raise TypeError(f"{name} must be bytes, not {type(value).__name__}")
    data = bytes(value)
    if len(data) > max_bytes:
        raise ValueError(f"{name} must be 0 to {max_bytes} bytes long, not {len(data)}")
    return data


def decode(data: bytes) -> str:
    """Device bytes as str; bytes that are not UTF-8 survive a round trip through encode()."""
    return data.decode("utf-8", "surrogateescape")


def decode_terminated(data: bytes) -> str:
    """The text before the first NUL of a fixed buffer."""
    return decode(data.split(b"\0", 1)[0])


def to_signed32(value: int) -> int:
    return value - (1 << 32) if value & 0x8000_0000 else value
