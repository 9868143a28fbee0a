"""What the module promises beside the arithmetic: errors that name the status and the argument and
leave out untouched, out= and in place, no copy of a ready input, dtypes, and threads."""
import threading
import time
import tracemalloc

import numpy as np
import pytest

import zspgen
from conftest import random_rows

c16 = random_rows((2, 16), np.complex128, seed=0)
r16 = random_rows((2, 16), np.float64, seed=0)
read_only = np.zeros((2, 16), np.complex128)
read_only.flags.writeable = False

# (call, status, argument, whether a DtypeError); every call gets a canary out of the right shape
# unless it brings its own.
ERRORS = [
    (lambda out: zspgen.fft(np.ones(65), out=out), "zspStsSizeErr", "x", False),
    (lambda out: zspgen.ifft(np.ones(1), out=out), "zspStsSizeErr", "x", False),
    (lambda out: zspgen.fft(np.complex128(1)), "zspStsSizeErr", "x", False),
    (lambda out: zspgen.fft(c16, norm="sideways", out=out), "zspStsFlagErr", "norm", False),
    (lambda out: zspgen.dht(r16, norm=2, out=out), "zspStsFlagErr", "norm", False),
    (lambda out: zspgen.fft(np.ones(16, np.longdouble), out=out), None, "x", True),
    (lambda out: zspgen.fft(np.array(["a"] * 16), out=out), None, "x", True),
    (lambda out: zspgen.rfft(c16, out=out), None, "x", True),
    (lambda out: zspgen.rfft(r16, format="halfcomplex"), None, "format", False),
    (lambda out: zspgen.irfft(c16[:, :9], 65, out=out), "zspStsSizeErr", "n", False),
    (lambda out: zspgen.irfft(r16, 14, format="pack", out=out), "zspStsSizeErr", "n", False),
    (lambda out: zspgen.irfft(r16, 16.0, out=out), None, "n", True),
    (lambda out: zspgen.wht(np.ones(12), out=out), "zspStsSizeErr", "x", False),
    (lambda out: zspgen.wht(np.ones(1 << 14)), "zspStsSizeErr", "x", False),
    (lambda out: zspgen.DCT4(48, np.float64), "zspStsSizeErr", "n", False),
    (lambda out: zspgen.DCT4(33, np.float32), "zspStsSizeErr", "n", False),  # 2^k + 1: no DCT-IV
    (lambda out: zspgen.DCT4(1 << 26, np.float64), "zspStsSizeErr", "n", False),
    (lambda out: zspgen.DCT4(8, np.int32), None, "dtype", True),
    (lambda out: zspgen.DCT4(8, np.float32)(r16.astype(np.float32), out=out), "zspStsSizeErr", "x", False),
    (lambda out: zspgen.DCT4(16, np.float32)(r16, out=out), None, "x", True),
    (lambda out: zspgen.fft(c16, out=np.zeros((2, 16), np.complex64)), None, "out", True),
    (lambda out: zspgen.fft(c16, out=np.zeros((2, 17), np.complex128)), "zspStsSizeErr", "out", False),
    (lambda out: zspgen.fft(c16, out=[0] * 32), None, "out", True),
    (lambda out: zspgen.fft(c16, out=read_only), None, "out", False),
    (lambda out: zspgen.fft(c16, axis=2, out=out), None, "axis", False),
    (lambda out: zspgen.dht(r16, axis=-3, out=out), None, "axis", False),
    (lambda out: zspgen.wht(r16, axis=1.0, out=out), None, "axis", True),
    (lambda out: zspgen.fft(c16, 65, out=out), "zspStsSizeErr", "n", False),
    (lambda out: zspgen.rfft(r16, 1, out=out), "zspStsSizeErr", "n", False),
    (lambda out: zspgen.ifft(c16, 16.0, out=out), None, "n", True),
    (lambda out: zspgen.fft(c16.T, axis=0, out=out), "zspStsSizeErr", "out", False),  # result (16, 2)
]


@pytest.mark.parametrize("call, status, argument, dtype_error", ERRORS,
                         ids=[f"{i}-{e[2]}-{e[1]}" for i, e in enumerate(ERRORS)])
def test_errors_name_status_and_argument_and_write_nothing(call, status, argument, dtype_error):
    canary = np.full((2, 16), 7 + 7j)
    with pytest.raises(zspgen.Error) as caught:
        call(canary)
    assert caught.value.status == status and caught.value.argument == argument
    assert isinstance(caught.value, TypeError) == dtype_error
    assert (status or "argument") in str(caught.value)
    assert np.all(canary == 7 + 7j)


def test_out_in_place_and_overlapping_arrays():
    x = random_rows((6, 12), np.complex128, seed=3)
    want = zspgen.fft(x)
    out = np.zeros((12, 12), np.complex128)[::2]  # rows of its own, leading axis strided
    assert zspgen.fft(x, out=out) is out and np.array_equal(out, want)
    inplace = x.copy()
    assert zspgen.fft(inplace, out=inplace) is inplace and np.array_equal(inplace, want)
    # an out that overlaps x one row further on: row r's result must not reach row r + 1's input
    memory = random_rows((7, 12), np.complex128, seed=4)
    want = zspgen.fft(memory[:6])
    assert np.array_equal(zspgen.fft(memory[:6], out=memory[1:]), want)
    # rfft into the memory of its own input, with another row layout
    n = 10
    memory = np.zeros((5, n + 2))
    memory[:, :n] = random_rows((5, n), np.float64, seed=4)
    want = zspgen.rfft(memory[:, :n])
    assert np.array_equal(zspgen.rfft(memory[:, :n], out=memory.view(np.complex128)), want)


def test_a_ready_input_is_not_copied():
    x = random_rows((1 << 14, 32), np.complex128, seed=5)  # 8 MiB
    out = np.empty_like(x)
    tracemalloc.start()
    try:
        zspgen.fft(x, out=out)
        ready = tracemalloc.get_traced_memory()[1]
        tracemalloc.reset_peak()
        zspgen.fft(x[:, ::-1], out=out)  # last axis reversed: copied first
        reversed_peak = tracemalloc.get_traced_memory()[1]
    finally:
        tracemalloc.stop()
    assert ready < x.nbytes // 100 and reversed_peak >= x.nbytes


@pytest.mark.parametrize("call, given, result", [
    (zspgen.fft, np.float32, np.complex64),
    (zspgen.fft, np.int16, np.complex128),
    (zspgen.ifft, np.float16, np.complex64),
    (zspgen.rfft, np.float16, np.complex64),
    (zspgen.rfft, np.int64, np.complex128),
    (zspgen.dht, np.bool_, np.float64),
    (zspgen.wht, np.float32, np.float32),
])
def test_dtypes_taken_and_given(call, given, result):
    x = np.arange(16).astype(given)
    y = call(x)
    assert y.dtype == result
    assert np.allclose(y, call(x.astype(np.result_type(result, np.float32).type(0).real.dtype)), rtol=1e-6)


def test_families_name_the_callables():
    for family, names in zspgen.families:
        assert all(callable(getattr(zspgen, name)) for name in names), family
    assert zspgen.library_version.startswith("8.")


def test_two_threads_at_once_on_separate_arrays_and_one_dct4():
    dct4 = zspgen.DCT4(4096, np.float64)
    inputs = [random_rows((16, 4096), np.float64, seed=s) for s in (1, 2)]
    spectra = [random_rows((256, 48), np.complex64, seed=s) for s in (1, 2)]
    alone = [(dct4(x), zspgen.ifft(s)) for x, s in zip(inputs, spectra)]
    results = [[], []]

    def work(i):
        for _ in range(20):
            results[i].append((dct4(inputs[i]), zspgen.ifft(spectra[i])))

    threads = [threading.Thread(target=work, args=(i,)) for i in (0, 1)]
    for t in threads:
        t.start()
    for t in threads:
        t.join()
    for i in (0, 1):
        assert len(results[i]) == 20
        assert all(np.array_equal(a, alone[i][0]) and np.array_equal(b, alone[i][1]) for a, b in results[i])


def test_the_gil_is_released_while_rows_are_transformed():
    # 40000 rows of 8192 points that all read one row and write one row: a long call in little memory
    row = random_rows((8192,), np.float64, seed=6)
    x = np.broadcast_to(row, (40000, 8192))
    out = np.lib.stride_tricks.as_strided(np.empty(8192), (40000, 8192), (0, 8), writeable=True)
    span, stamps = [], []
    worker = threading.Thread(target=lambda: span.extend([time.perf_counter(), zspgen.wht(x, out=out),
                                                          time.perf_counter()]))
    worker.start()
    while worker.is_alive():  # this thread keeps running while the other one transforms
        stamps.append(time.perf_counter())
    worker.join()
    start, _, end = span
    during = [start] + [t for t in stamps if start < t < end] + [end]
    assert end - start > 0.05 and np.max(np.diff(during)) < (end - start) / 2, (end - start, np.max(np.diff(during)))
