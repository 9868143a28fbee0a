"""Shared by the Python module's tests: a fixed hypothesis profile, so that a run is deterministic and
short, and the accuracy the library's own tests hold each family to."""
import numpy as np
from hypothesis import HealthCheck, settings

settings.register_profile("zspgen", derandomize=True, max_examples=60, deadline=None, database=None,
                          suppress_health_check=[HealthCheck.too_slow])
settings.load_profile("zspgen")

# Per precision: the complex DFT's error relative to the largest output; the real DFT's and Hartley
# transform's error per unit of input and length; the unit roundoff.
BOUNDS = {
    np.float32: dict(dft=4 * 2.3e-6, real=3e-7, eps=2.0 ** -24),
    np.float64: dict(dft=4e-14, real=5e-14, eps=2.0 ** -53),
}
REAL = {np.complex64: np.float32, np.complex128: np.float64, np.float32: np.float32, np.float64: np.float64}
LENGTHS = range(2, 65)


def random_rows(shape, dtype, seed):
    """Uniform samples in [-1, 1) of the given dtype, complex ones in both parts."""
    rng = np.random.default_rng(seed)
    x = rng.uniform(-1, 1, shape)
    if np.dtype(dtype).kind == "c":
        x = x + 1j * rng.uniform(-1, 1, shape)
    return x.astype(dtype)


def peak_error(got, want):
    """Largest deviation relative to the largest reference value (exactly 0 for an all-zero reference)."""
    peak = np.max(np.abs(want), initial=0.0)
    err = np.max(np.abs(np.asarray(got, np.complex128) - want), initial=0.0)
    return err / peak if peak else err
