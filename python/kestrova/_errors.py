"""Failures as Python exceptions."""


class Error(RuntimeError):
    """A failure of the library.

    The text is the library's own. Wrong arguments are `TypeError` and `ValueError` instead, and raised before any
    work is done.

    Attributes
    ----------
    kind : str
        ``"core"`` for the image-processing core; of the photo layer ``"input"`` (what was given is wrong: a damaged
        file, a value out of range), ``"file"`` (the file system refused), ``"memory"``, ``"cancelled"`` and
        ``"programming"`` (a call out of order, or on an object that is in use by another thread).

    Examples
    --------
    >>> import kestrova
    >>> try:
    ...     kestrova.open("/there/is/no/such.jpg")
    ... except kestrova.Error as error:
    ...     print(error.kind)
    file
    """

    def __init__(self, text="", kind="core"):
        super().__init__(text)
        self.kind = kind

    def __reduce__(self):
        return type(self), (str(self), self.kind)


class Cancelled(Error):
    """The work was cancelled, because a ``progress`` callable answered ``False``.

    `kind` is ``"cancelled"``. An exception that the callable raises cancels too, and is raised itself.

    Examples
    --------
    >>> import kestrova, numpy as np
    >>> plane = np.zeros((8, 8), np.uint16)
    >>> try:
    ...     kestrova.bilateral_grid(plane, progress=lambda share: False)
    ... except kestrova.Cancelled:
    ...     print("cancelled")
    cancelled
    """

    def __init__(self, text="cancelled", kind="cancelled"):
        super().__init__(text, kind)


class OutOfMemory(Error, MemoryError):
    """The library found no memory, or the limit set for it would have been exceeded.

    `kind` is ``"memory"``. Outputs and objects are as they were, and the same call succeeds once there is memory.
    It is a `MemoryError` as well, which numpy and Python raise where they find none.

    Examples
    --------
    >>> import kestrova
    >>> issubclass(kestrova.OutOfMemory, MemoryError)
    True
    """

    def __init__(self, text="", kind="memory"):
        super().__init__(text, kind)
