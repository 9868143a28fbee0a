/* A C89 user of the installed library: version, statuses, a Walsh-Hadamard transform with a work buffer
 * of its own, a complex DFT round trip through the entry that takes the length, and a DCT-IV state
 * built in memory from malloc (so released by free, never by zspgDCT4Free_32f). Exits 0 on success. */
#include <stdio.h>
#include <stdlib.h>

#include "zspgen.h"

static int failures = 0;

static void expect(int ok, const char* what) {
  if (!ok) {
    printf("FAILED: %s\n", what);
    ++failures;
  }
}

static double distance(double a, double b) { return a > b ? a - b : b - a; }

static void versionAndStatuses(void) {
  const zspLibraryVersion* v = zspgenGetLibVersion();
  Zsp32f x[4] = {1, 2, 3, 4}, y[4];
  printf("%s %s\n", v->nameText, v->versionText);
  expect(v->versionMajor == ZSPGEN_VERSION_MAJOR && v->versionMinor == ZSPGEN_VERSION_MINOR &&
             v->versionPatch == ZSPGEN_VERSION_PATCH,
         "library version equals the header's");
  expect(zspgWHT_32f(x, y, 14, ZSP_NODIV_BY_ANY, NULL) == zspStsSizeErr, "order 14 is refused");
  expect(zspgWHT_2_32f(x, y, 3, NULL) == zspStsFlagErr, "hint 3 is no hint");
  printf("a null source: %s\n", zspgenStatusText(zspgWHT_2_32f(NULL, y, ZSP_NODIV_BY_ANY, NULL)));
}

static void walshHadamard(void) {
  enum { order = 9, n = 1 << order };
  Zsp32f* x = (Zsp32f*)malloc(n * sizeof(Zsp32f));
  Zsp32f* y = (Zsp32f*)malloc(n * sizeof(Zsp32f));
  Zsp32s bytes = -1;
  Zsp8u* work;
  int i, ok = 1;
  expect(zspgWHTGetBufferSize_32f(order, &bytes) == zspStsNoErr && bytes > 0, "buffer size of order 9");
  work = (Zsp8u*)malloc((size_t)bytes); /* malloc's memory is 16-byte aligned */
  for (i = 0; i < n; ++i) x[i] = (Zsp32f)(i % 7) - 3.0f;
  expect(zspgWHT_32f(x, y, order, ZSP_NODIV_BY_ANY, work) == zspStsNoErr, "WHT forward");
  expect(zspgWHT_32f(y, y, order, ZSP_DIV_INV_BY_N, work) == zspStsNoErr, "WHT back, in place");
  for (i = 0; i < n; ++i) ok &= distance(y[i], x[i]) < 1e-4;
  expect(ok, "WHT twice, divided by N, gives the input back");
  free(work);
  free(y);
  free(x);
}

static void complexDft(void) {
  Zsp64fc x[12], y[12];
  int i, ok = 1;
  for (i = 0; i < 12; ++i) {
    x[i].re = i;
    x[i].im = -0.5 * i;
  }
  expect(zspgDFTFwd_CToC_64fc(x, y, 12, ZSP_NODIV_BY_ANY) == zspStsNoErr, "DFT forward");
  expect(distance(y[0].re, 66.0) < 1e-12 && distance(y[0].im, -33.0) < 1e-12, "bin 0 is the sum");
  expect(zspgDFTInv_CToC_12_64fc(y, y, ZSP_DIV_INV_BY_N) == zspStsNoErr, "DFT inverse, in place");
  for (i = 0; i < 12; ++i) ok &= distance(y[i].re, x[i].re) < 1e-12 && distance(y[i].im, x[i].im) < 1e-12;
  expect(ok, "DFT round trip");
  expect(zspgDFTFwd_CToC_64fc(x, y, 65, ZSP_NODIV_BY_ANY) == zspStsSizeErr, "length 65 is refused");
}

static void dct4InOwnMemory(void) {
  enum { n = 256 };
  Zsp32f x[n], y[n];
  DCT4Spec* state = NULL;
  Zsp32s bytes = 0;
  Zsp8u* memory;
  int i, ok = 1;
  expect(zspgDCT4GetSize_32f(n, &bytes) == zspStsNoErr, "DCT-IV size");
  expect(zspgDCT4GetSize_32f(n + 2, &bytes) == zspStsSizeErr, "DCT-IV length 258 is refused");
  memory = (Zsp8u*)malloc((size_t)bytes);
  expect(zspgDCT4Init_32f(&state, n, memory) == zspStsNoErr && state != NULL, "DCT-IV state in own memory");
  for (i = 0; i < n; ++i) x[i] = (Zsp32f)((i * 37) % 11) - 5.0f;
  expect(zspgDCT4_32f(x, y, state) == zspStsNoErr, "DCT-IV");
  expect(zspgDCT4_32f(y, y, state) == zspStsNoErr, "DCT-IV in place");
  for (i = 0; i < n; ++i) ok &= distance(y[i] * (2.0 / n), x[i]) < 1e-4;
  expect(ok, "DCT-IV twice gives N/2 times the input");
  free(memory); /* the state lived in it: no zspgDCT4Free_32f */
}

int main(void) {
  versionAndStatuses();
  walshHadamard();
  complexDft();
  dct4InOwnMemory();
  printf("C89 consumer: %s\n", failures ? "failed" : "ok");
  return failures ? 1 : 0;
}
