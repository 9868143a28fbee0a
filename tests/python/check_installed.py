"""Run by the installation test with PYTHONPATH naming an installed prefix's module directory: the
module and the library it loads must both come from that prefix, and a transform must run."""
import sys

import numpy as np

import zspgen

prefix = sys.argv[1].rstrip("/") + "/"
with open("/proc/self/maps") as maps:
    libraries = {line.split()[-1] for line in maps if "libzspgenx3" in line}
assert zspgen.__file__.startswith(prefix), zspgen.__file__
assert libraries and all(path.startswith(prefix) for path in libraries), libraries
assert np.allclose(zspgen.fft(np.arange(4.0)), np.fft.fft(np.arange(4.0)))
print(f"zspgen from {zspgen.__file__}, library {', '.join(sorted(libraries))}")
