"""axis= and n=: every transform along any axis of an array, numpy's cropping and zero padding of n=,
and out= whose rows are not contiguous along the transformed axis."""
import numpy as np
import pytest

import zspgen
from conftest import BOUNDS, REAL, peak_error, random_rows

dct4_8 = zspgen.DCT4(8, np.float64)
# (transform, dtype of its input); every one accepts a length of 8 along the axis
TRANSFORMS = [
    (zspgen.fft, np.complex64), (zspgen.ifft, np.complex128), (zspgen.rfft, np.float32),
    (lambda x, **kw: zspgen.rfft(x, format="perm", **kw), np.float64), (zspgen.irfft, np.complex128),
    (zspgen.dht, np.float32), (zspgen.wht, np.float64), (dct4_8, np.float64),
]
IDS = ["fft", "ifft", "rfft", "rfft-perm", "irfft", "dht", "wht", "dct4"]


def along_last(transform, x, axis):
    """The transform of x along `axis` as a contiguous copy along the last axis, moved back."""
    return np.moveaxis(transform(np.ascontiguousarray(np.moveaxis(x, axis, -1))), -1, axis)


@pytest.mark.parametrize("transform, dtype", TRANSFORMS, ids=IDS)
def test_every_axis_gives_the_bits_of_the_last(transform, dtype):
    for axis in (0, 1, 2, -2, -3):
        shape = [3, 5, 4]
        shape[axis] = 8 if transform is not zspgen.irfft else 5  # irfft: 5 bins give 8 samples
        x = random_rows(tuple(shape), dtype, seed=axis + 3)
        want = along_last(transform, x, axis)
        y = transform(x, axis=axis)
        assert y.shape == want.shape and y.dtype == want.dtype and np.array_equal(y, want), axis
        # out= laid out along the caller's axes: the rows along `axis` are strided and written
        # through a temporary; and an out whose every axis is strided
        out = np.full(want.shape, 7, want.dtype)
        assert transform(x, axis=axis, out=out) is out and np.array_equal(out, want), axis
        wide = np.full(want.shape[:-1] + (2 * want.shape[-1],), 7, want.dtype)
        assert transform(x, axis=axis, out=wide[..., ::2]) is not None
        assert np.array_equal(wide[..., ::2], want) and np.all(wide[..., 1::2] == 7), axis


@pytest.mark.parametrize("dtype", [np.complex64, np.complex128])
def test_fft_along_an_axis_matches_numpy(dtype):
    x = random_rows((16, 3, 9), dtype, seed=1)
    for ours, theirs in ((zspgen.fft, np.fft.fft), (zspgen.ifft, np.fft.ifft)):
        got = ours(x, axis=0, norm="ortho")
        assert peak_error(got, theirs(x.astype(np.complex128), axis=0, norm="ortho")) <= BOUNDS[REAL[dtype]]["dft"]


def test_n_crops_and_pads_as_numpy():
    x = random_rows((2, 12), np.complex128, seed=2)
    r = x.real.copy()
    for n in (2, 7, 12, 13, 64):
        for ours, theirs in ((zspgen.fft, np.fft.fft), (zspgen.ifft, np.fft.ifft)):
            got = ours(x, n)
            assert got.shape == (2, n) and peak_error(got, theirs(x, n)) <= 4e-14, (ours.__name__, n)
        got = zspgen.rfft(r, n)
        assert got.shape == (2, n // 2 + 1) and peak_error(got, np.fft.rfft(r, n)) <= 4e-14, n
        assert np.allclose(zspgen.rfft(r, n, format="pack")[:, 0], got[:, 0].real, rtol=0, atol=1e-14)
    # along another axis, with the input left as it was
    before = x.copy()
    assert peak_error(zspgen.fft(x, 5, axis=0), np.fft.fft(x, 5, axis=0)) <= 4e-14
    assert np.array_equal(x, before)
