"""fft and ifft against numpy.fft, every length and both precisions."""
import numpy as np
import pytest
from hypothesis import given, strategies as st

import zspgen
from conftest import BOUNDS, LENGTHS, REAL, peak_error, random_rows

NORMS = [None, "backward", "ortho", "forward"]


@pytest.mark.parametrize("dtype", [np.complex64, np.complex128])
def test_every_length_and_norm_matches_numpy(dtype):
    bound = BOUNDS[REAL[dtype]]["dft"]
    for n in LENGTHS:
        x = random_rows((3, n), dtype, seed=n)
        for norm in NORMS:
            for ours, theirs in ((zspgen.fft, np.fft.fft), (zspgen.ifft, np.fft.ifft)):
                y = ours(x, norm=norm)
                assert y.dtype == dtype and y.shape == x.shape
                want = theirs(x.astype(np.complex128), norm=norm)
                assert peak_error(y, want) <= bound, (ours.__name__, n, norm)


@pytest.mark.parametrize("dtype", [np.complex64, np.complex128])
def test_forward_then_inverse_gives_the_input_back(dtype):
    x = random_rows((5, 64), dtype, seed=1)
    for norm in NORMS:
        back = zspgen.ifft(zspgen.fft(x, norm=norm), norm=norm)
        assert peak_error(back, x) <= 4 * BOUNDS[REAL[dtype]]["dft"]


leading_shapes = st.lists(st.integers(0, 4), min_size=0, max_size=3).map(tuple)
LAYOUTS = ["contiguous", "leading axis reversed", "leading axes swapped", "last axis strided"]


def laid_out(x, layout):
    """A view of (a copy of) x with the same values in another memory layout."""
    if layout == "leading axis reversed" and x.ndim > 1:
        return np.ascontiguousarray(x[::-1])[::-1]
    if layout == "leading axes swapped" and x.ndim > 2:
        return np.ascontiguousarray(np.swapaxes(x, 0, 1)).swapaxes(0, 1)
    if layout == "last axis strided":
        wide = np.zeros(x.shape[:-1] + (2 * x.shape[-1],), x.dtype)
        wide[..., ::2] = x
        return wide[..., ::2]
    return x


@given(shape=leading_shapes, n=st.sampled_from(LENGTHS), dtype=st.sampled_from([np.complex64, np.complex128]),
       layout=st.sampled_from(LAYOUTS), seed=st.integers(0, 2 ** 32 - 1))
def test_any_leading_shape_and_layout(shape, n, dtype, layout, seed):
    x = random_rows(shape + (n,), dtype, seed)
    view = laid_out(x, layout)
    assert np.array_equal(view, x)
    y = zspgen.fft(view)
    assert y.shape == x.shape and y.dtype == dtype
    assert np.array_equal(y, zspgen.fft(x))
    assert peak_error(y, np.fft.fft(x.astype(np.complex128))) <= BOUNDS[REAL[dtype]]["dft"]


@pytest.mark.parametrize("rows, n", [(150, 3), (150, 47), (2200, 63)])
def test_many_rows_of_odd_complex64_each_land_in_place(rows, n):
    # rows of odd length alternate in alignment, and are taken grouped by it in blocks; 2,200 rows of 63
    # (1.1 MB) also ask for each next block's rows ahead, up to the last block, out of place and in place
    x = random_rows((rows, n), np.complex64, seed=n)
    y = zspgen.fft(x)
    assert all(np.array_equal(y[i], zspgen.fft(x[i])) for i in range(len(x)))
    z = x.copy()
    zspgen.fft(z, out=z)
    assert np.array_equal(z, y)
    flipped = zspgen.fft(x[::-1])
    assert np.array_equal(flipped, y[::-1])
