"""dht against numpy's DFT, wht against scipy's Hadamard matrix, DCT4 against scipy.fft.dct."""
import numpy as np
import pytest
import scipy.fft
import scipy.linalg

import zspgen
from conftest import BOUNDS, LENGTHS, random_rows

SCALE = {None: lambda n: 1, "backward": lambda n: 1, "ortho": lambda n: n ** -0.5, "forward": lambda n: 1 / n}


@pytest.mark.parametrize("dtype", [np.float32, np.float64])
def test_dht_every_length_and_norm(dtype):
    for n in LENGTHS:
        x = random_rows((3, n), dtype, seed=n)
        spectrum = np.fft.fft(x.astype(np.float64))
        for norm, scale in SCALE.items():
            y = zspgen.dht(x, norm=norm)
            assert y.dtype == dtype and y.shape == x.shape
            want = (spectrum.real - spectrum.imag) * scale(n)  # cas = cos + sin, and X has exp(-i...)
            assert np.max(np.abs(y - want)) <= n * BOUNDS[dtype]["real"] * scale(n), (n, norm)


def hadamard_times(x, order):
    """Each row of x times the natural-order Hadamard matrix of 2^order points (entries
    (-1)^popcount(k AND n)), as the Kronecker product of scipy's matrices of at most 2^11 points."""
    inner = min(order, 11)
    outer_matrix = scipy.linalg.hadamard(1 << (order - inner))
    inner_matrix = scipy.linalg.hadamard(1 << inner)
    blocks = x.astype(np.float64).reshape(x.shape[:-1] + (1 << (order - inner), 1 << inner))
    return np.einsum("ij,lm,...jm->...il", outer_matrix, inner_matrix, blocks).reshape(x.shape)


@pytest.mark.parametrize("dtype", [np.float32, np.float64])
def test_wht_every_order_against_the_hadamard_matrix(dtype):
    eps = BOUNDS[dtype]["eps"]
    for order in range(1, 14):
        n = 1 << order
        x = random_rows((2, n), dtype, seed=order)
        unscaled = hadamard_times(x, order)
        for norm, scale in SCALE.items():
            y = zspgen.wht(x, norm=norm)
            assert y.dtype == dtype
            assert np.max(np.abs(y - unscaled * scale(n))) <= 2 * order * eps * n * scale(n), (order, norm)


@pytest.mark.parametrize("dtype", [np.float32, np.float64])
def test_dct4_is_half_of_scipys_unnormalised_dct_type_4(dtype):
    eps = BOUNDS[dtype]["eps"]
    for order in range(1, 17):
        n = 1 << order
        transform = zspgen.DCT4(n, dtype)
        assert transform.n == n and transform.dtype == dtype
        x = random_rows((2, n), dtype, seed=order)
        y = transform(x)
        assert y.dtype == dtype and y.shape == x.shape
        want = scipy.fft.dct(x.astype(np.float64), type=4) / 2
        rms = np.sqrt(np.mean((y - want) ** 2) / np.mean(want ** 2))
        assert rms <= 2 * eps * order, n
    # twice gives N/2 times the input
    x = random_rows((3, 64), dtype, seed=0)
    transform = zspgen.DCT4(64, dtype)
    assert np.max(np.abs(transform(transform(x)) - 32 * x)) <= 32 * 8 * eps * 6
