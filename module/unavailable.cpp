// Entries of built-ins that this build does not provide yet: each raises VELTRA:unavailable
// with the name of what is missing. Each one goes when its subsystem arrives.
#include "module/entries.hpp"
#include "module/exception.hpp"

namespace vlmathdsp {

#define VLMATHDSP_UNAVAILABLE(entry, text)                              \
    void entry(int, vxArray**, int, const vxArray**) {                  \
        raise<VELTRA::host::unavailable>(text);                         \
    }

VLMATHDSP_UNAVAILABLE(fftwControlEntry, "fftw planner and wisdom control")
VLMATHDSP_UNAVAILABLE(fftwVersionInfoEntry, "fftwVersionInfo")
VLMATHDSP_UNAVAILABLE(dctEntry, "vldct")
VLMATHDSP_UNAVAILABLE(idctEntry, "vlidct")
VLMATHDSP_UNAVAILABLE(dstEntry, "vldst")
VLMATHDSP_UNAVAILABLE(idstEntry, "vlidst")
VLMATHDSP_UNAVAILABLE(dctnEntry, "vldctn")
VLMATHDSP_UNAVAILABLE(idctnEntry, "vlidctn")
VLMATHDSP_UNAVAILABLE(dstnEntry, "vldstn")
VLMATHDSP_UNAVAILABLE(idstnEntry, "vlidstn")

#undef VLMATHDSP_UNAVAILABLE

}  // namespace vlmathdsp
