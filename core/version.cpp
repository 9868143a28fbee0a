// The version record of this build.
#include "revision.h"
#include "zspgen_x3.h"

// __DATE__ is "Mmm dd yyyy" with the day padded by a blank: the form the record promises.
extern "C" __attribute__((visibility("hidden"))) const zspLibraryVersion s_libVer = {
    8, 2, 1, ZSPGEN_REVISION, "x3", "zspGEN SSE3 (x3 threaded)", "8.2.1 (r" ZSPGEN_REVISION_TEXT ")", __DATE__,
};

extern "C" const zspLibraryVersion* x3_zspgenGetLibVersion(void) { return &s_libVer; }
