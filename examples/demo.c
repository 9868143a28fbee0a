/* zspgen demo: the version record, and Walsh-Hadamard round trips with their largest error. */
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

int main(void) {
  const zspLibraryVersion* v = zspgenGetLibVersion();
  printf("%s, version %s, target %s, built %s\n", v->nameText, v->versionText, v->targetCode, v->buildDateText);
  printf("\nWalsh-Hadamard round trips, largest error:\n  order      N     single     double\n");
  for (int order = 1; order <= 13; order += 3)
    printf("  %5d %6d  %9.2e  %9.2e\n", order, 1 << order, roundTrip32f(order), roundTrip64f(order));

  Zsp32f z[4];
  const Zsp32f x[4] = {1, 2, 3, 4};
  printf("\nstatus of an order-0 call: %d, of a null source: %d, of hint 3: %d\n",
         (int)zspgWHT_32f(x, z, 0, ZSP_NODIV_BY_ANY, NULL), (int)zspgWHT_2_32f(NULL, z, ZSP_NODIV_BY_ANY, NULL),
         (int)zspgWHT_2_32f(x, z, 3, NULL));
  return 0;
}
