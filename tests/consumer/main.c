/* Uses the installed library from C: one Walsh-Hadamard transform and the version record. */
#include <stdio.h>

#include "zspgen.h"

int main(void) {
  const Zsp32f x[8] = {1, 2, 3, 4, 5, 6, 7, 8};
  Zsp32f y[8];
  const zspStatus status = zspgWHT_3_32f(x, y, ZSP_NODIV_BY_ANY, NULL);
  const zspLibraryVersion* v = zspgenGetLibVersion();
  printf("%s %s: status %d, y[0] = %g\n", v->nameText, v->versionText, (int)status, (double)y[0]);
  return status == zspStsNoErr && y[0] == 36.0f ? 0 : 1;
}
