/* zspgen: fixed-size signal transforms for x86-64 (SSE3 build "x3").
 *
 * Every operation but zspgenGetLibVersion returns a zspStatus: 0 on success, a negative value on error.
 * An operation that returns an error has written nothing to its destination.
 *
 * The reference of each family (arguments, layouts, scaling, statuses, alignment, in place, threads,
 * the DCT-IV state's lifecycle) stands above its prototypes in zspgen_api.h, included at the end.
 * Link with -lzspgenx3 -lzspcore (pkg-config zspgen, or the CMake package zspgen). The header is C89
 * and C++ alike.
 */
#ifndef ZSPGEN_H
#define ZSPGEN_H

#include <stdint.h>

/* The version of this header. zspgenGetLibVersion() reports the library's, which equals it when header
 * and library come from the same installation. */
#define ZSPGEN_VERSION_MAJOR 8
#define ZSPGEN_VERSION_MINOR 2
#define ZSPGEN_VERSION_PATCH 1

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

/* Statuses. A status is a number only: the library holds no message texts (zspgenStatusText below
 * names them). Where several things are wrong at once: at a transform, a length or order out of range
 * wins over a null pointer, and a null pointer over a bad hint; a size query reports a null out
 * pointer before a length or order it refuses.
 *
 * zspStsNoErr       the operation was carried out.
 * zspStsPlanErr     zspgDCT4_<t> was given a state whose plan it does not know: memory that was never
 *                   built by zspgDCT4Init_<t> or zspgDCT4InitAlloc_<t>, or has been overwritten since.
 * zspStsSizeErr     the length or order is not served (a DFT length outside 2..64, a Walsh-Hadamard
 *                   order outside 1..13, a DCT-IV length the size query refuses).
 * zspStsNullPtrErr  a pointer argument is null. Also what zspgDCT4InitAlloc_<t> returns when its
 *                   allocation fails: there is no out-of-memory status.
 * zspStsFlagErr     the scaling hint is not one of the four values below. */
enum {
  zspStsNoErr = 0,
  zspStsPlanErr = -5,
  zspStsSizeErr = -6,
  zspStsNullPtrErr = -8,
  zspStsFlagErr = -16
};

#if defined(__cplusplus) || (defined(__STDC_VERSION__) && __STDC_VERSION__ >= 199901L)
#define ZSPGEN_INLINE static inline
#elif defined(__GNUC__)
#define ZSPGEN_INLINE static __inline__
#else
#define ZSPGEN_INLINE static
#endif

/* The name of a status, as "zspStsSizeErr", or "unknown zspStatus" for a value that is none of them.
 * Header-only: nothing of it is in the library. */
ZSPGEN_INLINE const char* zspgenStatusText(zspStatus status) {
  switch (status) {
    case zspStsNoErr: return "zspStsNoErr";
    case zspStsPlanErr: return "zspStsPlanErr";
    case zspStsSizeErr: return "zspStsSizeErr";
    case zspStsNullPtrErr: return "zspStsNullPtrErr";
    case zspStsFlagErr: return "zspStsFlagErr";
    default: return "unknown zspStatus";
  }
}

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

/* DCT-IV state: opaque; it lives inside the caller's buffer and holds absolute addresses. Its lifecycle
 * is told above zspgDCT4GetSize_32f in zspgen_api.h. */
typedef struct DCT4Spec DCT4Spec;

/* Prototypes of every exported operation, produced from the library's export list. */
#include "zspgen_api.h"

#endif /* ZSPGEN_H */
