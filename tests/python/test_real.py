"""rfft and irfft in the three formats against numpy.fft and scipy.fft, every length and both
precisions."""
import numpy as np
import pytest
import scipy.fft
from hypothesis import given, strategies as st

import zspgen
from conftest import BOUNDS, LENGTHS, random_rows

NORMS = [None, "ortho", "forward"]


def packed(spectrum, n, format):
    """The Pack or Perm layout of a CCS spectrum (numpy's rfft), built from its description: Re X0,
    the pairs of bins 1..(n-1)/2, and for even n Re X(n/2) last (Pack) or second (Perm)."""
    pairs = np.stack([spectrum[..., 1:(n + 1) // 2].real, spectrum[..., 1:(n + 1) // 2].imag], -1)
    pairs = pairs.reshape(spectrum.shape[:-1] + (-1,))
    first = spectrum[..., :1].real
    if n % 2:
        return np.concatenate([first, pairs], -1)
    nyquist = spectrum[..., n // 2:n // 2 + 1].real
    return np.concatenate([first, pairs, nyquist] if format == "pack" else [first, nyquist, pairs], -1)


@pytest.mark.parametrize("dtype", [np.float32, np.float64])
def test_every_length_format_and_norm_matches_numpy_and_scipy(dtype):
    tol = BOUNDS[dtype]["real"]
    for n in LENGTHS:
        x = random_rows((4, n), dtype, seed=n)
        for norm in NORMS:
            want = scipy.fft.rfft(x.astype(np.float64), norm=norm)
            assert np.allclose(want, np.fft.rfft(x.astype(np.float64), norm=norm), rtol=0, atol=1e-13)
            scale = 1 / n if norm == "forward" else 1 / np.sqrt(n) if norm == "ortho" else 1
            ccs = zspgen.rfft(x, norm=norm)
            assert ccs.dtype == np.result_type(dtype, np.complex64) and ccs.shape == (4, n // 2 + 1)
            assert np.max(np.abs(ccs - want)) <= n * tol * scale, (n, norm)
            for format in ("pack", "perm"):
                y = zspgen.rfft(x, format=format, norm=norm)
                assert y.dtype == dtype and y.shape == x.shape
                assert np.max(np.abs(y - packed(want, n, format))) <= n * tol * scale, (n, format, norm)
                back = zspgen.irfft(y, format=format, norm=norm)
                assert np.max(np.abs(back - x)) <= 4 * n * tol, (n, format, norm)
            back = zspgen.irfft(ccs, n, norm=norm)
            assert back.dtype == dtype and np.max(np.abs(back - x)) <= 4 * n * tol, (n, norm)
            assert np.max(np.abs(back - np.fft.irfft(ccs.astype(np.complex128), n, norm=norm))) <= 4 * n * tol


def test_irfft_takes_numpys_lengths():
    spectrum = np.fft.rfft(random_rows((2, 12), np.float64, seed=5))
    # default 2 (bins - 1); a longer n pads the spectrum with zeros, a shorter one cuts it; odd n too
    for n in (None, 12, 16, 13, 7, 2):
        want = np.fft.irfft(spectrum, n)
        assert np.max(np.abs(zspgen.irfft(spectrum, n) - want)) <= 1e-14, n
    # the imaginary parts of bins 0 and N/2 are not read
    odd = spectrum.copy()
    odd[:, 0] += 5j
    odd[:, -1] += 7j
    assert np.array_equal(zspgen.irfft(odd), zspgen.irfft(spectrum))


@given(shape=st.lists(st.integers(0, 3), max_size=2).map(tuple), n=st.sampled_from(LENGTHS),
       dtype=st.sampled_from([np.float32, np.float64]), format=st.sampled_from(["ccs", "pack", "perm"]),
       seed=st.integers(0, 2 ** 32 - 1))
def test_round_trip_over_any_leading_shape(shape, n, dtype, format, seed):
    x = random_rows(shape + (n,), dtype, seed)
    spectrum = zspgen.rfft(x, format=format)
    back = zspgen.irfft(spectrum, n, format=format)
    assert back.shape == x.shape and back.dtype == dtype
    assert np.max(np.abs(back - x), initial=0) <= 4 * n * BOUNDS[dtype]["real"]
