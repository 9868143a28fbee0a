#include "dct4/divisors.h"

extern "C" zspStatus x3_divisorsIntNonTriv(int32_t* divisor, int32_t n) {
  int32_t d;
  if (n >= 512 && n % 32 == 0) d = 32;
  else if (n >= 128 && n % 16 == 0) d = 16;
  else if (n >= 32 && n % 8 == 0) d = 8;
  else if (n < 4) return zspStsSizeErr;
  else if (n >= 16 && n % 4 == 0) d = 4;
  else if (n % 2 == 0) d = 2;
  else return zspStsSizeErr;
  *divisor = d;
  return zspStsNoErr;
}
