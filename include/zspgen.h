/* zspgen: fixed-size signal transforms for x86-64 (SSE3 build "x3").
 *
 * Every operation but zspgenGetLibVersion returns a zspStatus: 0 on success, a negative value on error.
 * An operation that returns an error has written nothing to its destination.
 */
#ifndef ZSPGEN_H
#define ZSPGEN_H

#include <stdint.h>

typedef uint8_t Zsp8u;
typedef int32_t Zsp32s;
typedef uint32_t Zsp32u;
typedef uint64_t Zsp64u;
typedef float Zsp32f;
typedef double Zsp64f;

/* Complex samples, interleaved: real part first. */
typedef struct { Zsp32f re; Zsp32f im; } Zsp32fc;
typedef struct { Zsp64f re; Zsp64f im; } Zsp64fc;

typedef Zsp32s zspStatus;

enum {
  zspStsNoErr = 0,        /* the operation was carried out */
  zspStsPlanErr = -5,     /* a DCT-IV state without a plan for its length reached a compute step */
  zspStsSizeErr = -6,     /* the length or order is not served */
  zspStsNullPtrErr = -8,  /* a pointer argument is null */
  zspStsFlagErr = -16     /* the scaling hint is not one of the four values */
};

/* Scaling hints: exactly one of these whole values (they are not bit flags; 3 or 12 are invalid).
 *
 *                     DIV_FWD_BY_N  DIV_INV_BY_N  DIV_BY_SQRTN  NODIV_BY_ANY
 *   forward DFTs          1/N           1          1/sqrt(N)        1
 *   inverse DFTs          1            1/N         1/sqrt(N)        1
 *   Hartley, WHT          1/N          1/N         1/sqrt(N)        1
 *
 * The factor multiplies every output as the last step of the arithmetic (also when it is 1).
 * For the Walsh-Hadamard transform of order K, N is 2^K. */
#define ZSP_DIV_FWD_BY_N 1
#define ZSP_DIV_INV_BY_N 2
#define ZSP_DIV_BY_SQRTN 4
#define ZSP_NODIV_BY_ANY 8

/* The library's version record; zspgenGetLibVersion returns the address of the one constant copy. */
typedef struct {
  Zsp32s versionMajor;        /* 8 */
  Zsp32s versionMinor;        /* 2 */
  Zsp32s versionPatch;        /* 1 */
  Zsp32s versionBuild;        /* revision number of the build */
  char targetCode[4];         /* "x3" */
  const char* nameText;       /* "zspGEN SSE3 (x3 threaded)"; the library starts no threads */
  const char* versionText;    /* "8.2.1 (r<revision>)" */
  const char* buildDateText;  /* "Mmm dd yyyy", day padded with a blank */
} zspLibraryVersion;

/* DCT-IV state: opaque; it lives inside the caller's buffer and holds absolute addresses. */
typedef struct DCT4Spec DCT4Spec;

/* Prototypes of every exported operation, produced from the library's export list. */
#include "zspgen_api.h"

#endif /* ZSPGEN_H */
