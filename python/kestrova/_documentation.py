"""What the docstrings of many functions share."""

import inspect
import string

_SHARED = {
    "out": """\
out : ndarray, optional
    Gets the result: height, width and dtype of `src`, and may be `src`.""",
    "progress": """\
progress : callable, optional
    Called with the share that is done, 0 to 1; a `False` answer cancels.""",
    "threads": """\
threads : int, optional
    At most so many threads.""",
}

_RAISES = """\
Raises
------
TypeError, ValueError
    For arrays and parameters other than these."""

_RUNS_TO_ITS_END = """\
kestrova.Error
    For failures of the library; `kestrova.OutOfMemory` is one.
KeyboardInterrupt
    Once the work is done: an interrupt from the keyboard does not stop it."""

_CAN_BE_CANCELLED = """\
kestrova.Error
    For failures of the library; `kestrova.Cancelled` and `kestrova.OutOfMemory` are two of them.
KeyboardInterrupt
    At the next report of progress, with or without `progress`: an interrupt from the keyboard cancels."""


def completed(text, can_be_cancelled):
    """A docstring with $out, $progress, $threads and $raises filled in."""
    failures = _CAN_BE_CANCELLED if can_be_cancelled else _RUNS_TO_ITS_END
    return string.Template(inspect.cleandoc(text)).substitute(_SHARED, raises=f"{_RAISES}\n{failures}")


def documented(subject):
    """Completes the docstring of a function or class."""
    if subject.__doc__:
        subject.__doc__ = completed(subject.__doc__, "progress" in inspect.signature(subject).parameters)
    return subject
