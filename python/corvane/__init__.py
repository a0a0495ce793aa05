"""Corvane signal-processing classes for Python.

Frequencies, spans and bandwidths are in Hz, lengths in samples and levels in dB unless a name says
otherwise. Arrays are numpy arrays of the stated dtype (complex64/float32, or complex128/float64 where
the class works in double precision); a wrong dtype raises TypeError, a wrong shape or a
non-contiguous array ValueError, and an error of the library raises corvane.Error (code, message).
Long calls release the GIL.
"""

from ._corvane import *  # noqa: F401,F403
from ._corvane import Error, __doc__ as _module_doc  # noqa: F401

__all__ = [name for name in dir() if not name.startswith("_")]
