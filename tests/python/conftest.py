# Shared fixtures of the Python package tests: a fixed-seed random generator and the tone helpers.
import numpy as np
import pytest


@pytest.fixture
def rng():
    return np.random.default_rng(20261124)


def crandn(rng, n, dtype=np.complex64):
    return (rng.standard_normal(n) + 1j * rng.standard_normal(n)).astype(dtype)


def rel_l2(a, b):
    a = np.asarray(a, dtype=np.complex128)
    b = np.asarray(b, dtype=np.complex128)
    return np.linalg.norm(a - b) / max(np.linalg.norm(b), 1e-300)
