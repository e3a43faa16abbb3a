"""Checks of arguments that are made before the library is called."""

import os


def one_of(name, value, allowed):
    """`value`; ValueError unless it is one of `allowed`."""
    if value not in allowed:
        raise ValueError(f"{name}: expected one of {', '.join(map(str, allowed))}, got {value!r}")
    return value


def at_least(least, name, value):
    """`value`; ValueError unless it is `least` or more."""
    if value < least:
        raise ValueError(f"{name}: expected {least} or more, got {value}")
    return value


def instance_of(kind, name, value):
    """`value`; TypeError unless it is one of the class `kind`."""
    if not isinstance(value, kind):
        raise TypeError(f"{name}: expected {kind.__name__}, got {type(value).__name__}")
    return value


def path_of(path):
    """The path as bytes; ValueError if it holds a null byte, where the system would end it."""
    encoded = os.fsencode(path)
    if b"\0" in encoded:
        raise ValueError(f"path: embedded null byte in {path!r}")
    return encoded
