/* zspgen demo: the version record, Walsh-Hadamard round trips, complex DFT round trips through the
   size-dispatch entries, real DFT round trips through the packed formats, the Hartley transform applied
   twice, and DCT-IV round trips through a state, each with its largest error. */
#include <math.h>
#include <stdio.h>
#include <stdlib.h>

#include "zspgen.h"

static double roundTrip32f(int order) {
  const int n = 1 << order;
  Zsp32f* x = malloc(sizeof(Zsp32f) * n);
  Zsp32f* y = malloc(sizeof(Zsp32f) * n);
  for (int i = 0; i < n; ++i) x[i] = (Zsp32f)sin(0.37 * i) * 0.5f;
  /* The transform is its own inverse up to N: once unscaled, once divided by N. */
  zspgWHT_32f(x, y, order, ZSP_NODIV_BY_ANY, NULL);
  zspgWHT_32f(y, y, order, ZSP_DIV_INV_BY_N, NULL);
  double worst = 0;
  for (int i = 0; i < n; ++i) worst = fmax(worst, fabs((double)y[i] - x[i]));
  free(x);
  free(y);
  return worst;
}

static double roundTrip64f(int order) {
  const int n = 1 << order;
  Zsp64f* x = malloc(sizeof(Zsp64f) * n);
  Zsp64f* y = malloc(sizeof(Zsp64f) * n);
  for (int i = 0; i < n; ++i) x[i] = sin(0.37 * i) * 0.5;
  zspgWHT_64f(x, y, order, ZSP_DIV_BY_SQRTN, NULL);
  zspgWHT_64f(y, y, order, ZSP_DIV_BY_SQRTN, NULL);
  double worst = 0;
  for (int i = 0; i < n; ++i) worst = fmax(worst, fabs(y[i] - x[i]));
  free(x);
  free(y);
  return worst;
}

/* Forward unscaled, then inverse divided by N, through the entries that take the length at run time. */
static double dftRoundTrip32fc(int n) {
  Zsp32fc x[64], y[64];
  for (int i = 0; i < n; ++i) x[i] = (Zsp32fc){(Zsp32f)cos(0.91 * i), (Zsp32f)sin(0.23 * i * i)};
  if (zspgDFTFwd_CToC_32fc(x, y, n, ZSP_NODIV_BY_ANY) != zspStsNoErr) return -1;
  if (zspgDFTInv_CToC_32fc(y, y, n, ZSP_DIV_INV_BY_N) != zspStsNoErr) return -1;
  double worst = 0;
  for (int i = 0; i < n; ++i) worst = fmax(worst, hypot((double)y[i].re - x[i].re, (double)y[i].im - x[i].im));
  return worst;
}

static double dftRoundTrip64fc(int n) {
  Zsp64fc x[64], y[64];
  for (int i = 0; i < n; ++i) x[i] = (Zsp64fc){cos(0.91 * i), sin(0.23 * i * i)};
  if (zspgDFTFwd_CToC_64fc(x, y, n, ZSP_DIV_BY_SQRTN) != zspStsNoErr) return -1;
  if (zspgDFTInv_CToC_64fc(y, y, n, ZSP_DIV_BY_SQRTN) != zspStsNoErr) return -1;
  double worst = 0;
  for (int i = 0; i < n; ++i) worst = fmax(worst, hypot(y[i].re - x[i].re, y[i].im - x[i].im));
  return worst;
}

/* Real samples to a packed half spectrum and back, in place: CCS holds N+2 values (N+1 for odd N), Pack
   and Perm N. The inverse divides by N. */
static double realRoundTrip32f(int n, int format) {
  Zsp32f x[64], y[66];
  for (int i = 0; i < n; ++i) y[i] = x[i] = (Zsp32f)cos(0.91 * i + 0.05 * i * i);
  zspStatus s = format == 0   ? zspgDFTFwd_RToCCS_32f(y, y, n, ZSP_NODIV_BY_ANY)
                : format == 1 ? zspgDFTFwd_RToPack_32f(y, y, n, ZSP_NODIV_BY_ANY)
                              : zspgDFTFwd_RToPerm_32f(y, y, n, ZSP_NODIV_BY_ANY);
  if (s == zspStsNoErr)
    s = format == 0   ? zspgDFTInv_CCSToR_32f(y, y, n, ZSP_DIV_INV_BY_N)
        : format == 1 ? zspgDFTInv_PackToR_32f(y, y, n, ZSP_DIV_INV_BY_N)
                      : zspgDFTInv_PermToR_32f(y, y, n, ZSP_DIV_INV_BY_N);
  if (s != zspStsNoErr) return -1;
  double worst = 0;
  for (int i = 0; i < n; ++i) worst = fmax(worst, fabs((double)y[i] - x[i]));
  return worst;
}

/* The Hartley transform is its own inverse up to N. */
static double hartleyTwice64f(int n) {
  Zsp64f x[64], y[64];
  for (int i = 0; i < n; ++i) x[i] = cos(0.91 * i + 0.05 * i * i);
  if (zspgHartley_64f(x, y, n, ZSP_NODIV_BY_ANY) != zspStsNoErr) return -1;
  if (zspgHartley_64f(y, y, n, ZSP_DIV_FWD_BY_N) != zspStsNoErr) return -1;
  double worst = 0;
  for (int i = 0; i < n; ++i) worst = fmax(worst, fabs(y[i] - x[i]));
  return worst;
}

/* The unnormalised DCT-IV applied twice gives N/2 times the input. The state lives in a buffer of the
   size the library reports; `zspgDCT4InitAlloc_32f` would allocate it instead. */
static double dct4RoundTrip32f(int n) {
  Zsp32s size = 0;
  if (zspgDCT4GetSize_32f(n, &size) != zspStsNoErr) return -1;
  Zsp8u* memory = malloc((size_t)size);
  Zsp32f* x = malloc(sizeof(Zsp32f) * n);
  Zsp32f* y = malloc(sizeof(Zsp32f) * n);
  DCT4Spec* state = NULL;
  double worst = -1;
  if (memory && x && y && zspgDCT4Init_32f(&state, n, memory) == zspStsNoErr) {
    for (int i = 0; i < n; ++i) x[i] = (Zsp32f)sin(0.37 * i) * 0.5f;
    zspgDCT4_32f(x, y, state);
    zspgDCT4_32f(y, y, state);
    worst = 0;
    for (int i = 0; i < n; ++i) worst = fmax(worst, fabs(y[i] * (2.0 / n) - x[i]));
  }
  free(memory);
  free(x);
  free(y);
  return worst;
}

static double dct4RoundTrip64f(int n) {
  DCT4Spec* state = NULL;
  if (zspgDCT4InitAlloc_64f(&state, n) != zspStsNoErr) return -1;
  Zsp64f* x = malloc(sizeof(Zsp64f) * n);
  Zsp64f* y = malloc(sizeof(Zsp64f) * n);
  double worst = -1;
  if (x && y) {
    for (int i = 0; i < n; ++i) x[i] = sin(0.37 * i) * 0.5;
    zspgDCT4_64f(x, y, state);
    zspgDCT4_64f(y, y, state);
    worst = 0;
    for (int i = 0; i < n; ++i) worst = fmax(worst, fabs(y[i] * (2.0 / n) - x[i]));
  }
  zspgDCT4Free_64f(state);
  free(x);
  free(y);
  return worst;
}

int main(void) {
  const zspLibraryVersion* v = zspgenGetLibVersion();
  printf("%s, version %s, target %s, built %s\n", v->nameText, v->versionText, v->targetCode, v->buildDateText);
  printf("\nWalsh-Hadamard round trips, largest error:\n  order      N     single     double\n");
  for (int order = 1; order <= 13; order += 3)
    printf("  %5d %6d  %9.2e  %9.2e\n", order, 1 << order, roundTrip32f(order), roundTrip64f(order));

  printf("\nComplex DFT round trips, largest error:\n      N     single     double\n");
  const int lengths[] = {2, 7, 16, 30, 47, 59, 64};
  for (int k = 0; k < (int)(sizeof lengths / sizeof lengths[0]); ++k)
    printf("  %5d  %9.2e  %9.2e\n", lengths[k], dftRoundTrip32fc(lengths[k]), dftRoundTrip64fc(lengths[k]));

  printf("\nReal DFT round trips in single precision, in place, and the Hartley transform twice in double,"
         " largest error:\n      N        CCS       Pack       Perm    Hartley\n");
  for (int k = 0; k < (int)(sizeof lengths / sizeof lengths[0]); ++k)
    printf("  %5d  %9.2e  %9.2e  %9.2e  %9.2e\n", lengths[k], realRoundTrip32f(lengths[k], 0),
           realRoundTrip32f(lengths[k], 1), realRoundTrip32f(lengths[k], 2), hartleyTwice64f(lengths[k]));

  printf("\nDCT-IV round trips (twice, times 2/N), largest error:\n        N     single     double\n");
  for (int n = 16; n <= (1 << 20); n *= 32)
    printf("  %7d  %9.2e  %9.2e\n", n, dct4RoundTrip32f(n), dct4RoundTrip64f(n));

  Zsp32f z[4];
  const Zsp32f x[4] = {1, 2, 3, 4};
  printf("\nstatus of an order-0 call: %d, of a null source: %d, of hint 3: %d\n",
         (int)zspgWHT_32f(x, z, 0, ZSP_NODIV_BY_ANY, NULL), (int)zspgWHT_2_32f(NULL, z, ZSP_NODIV_BY_ANY, NULL),
         (int)zspgWHT_2_32f(x, z, 3, NULL));
  return 0;
}
