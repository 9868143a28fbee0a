// The families of transforms the module offers, each added to the module by its own file.
#pragma once

#include <pybind11/pybind11.h>

namespace zsppy {

void addComplexDft(pybind11::module_& m);  // fft, ifft
void addRealDft(pybind11::module_& m);     // rfft, irfft
void addHartleyAndWht(pybind11::module_& m);  // dht, wht
void addDct4(pybind11::module_& m);        // DCT4

}  // namespace zsppy
