// The planner and wisdom commands, and the FFTW version. All state they change lies in the plan
// containers of every family, which every command writes together, and in FFTW's process-wide
// wisdom.
#include <string>

#include "fourier/plan_container.hpp"
#include "module/argument_helpers.hpp"
#include "module/entries.hpp"

namespace vlmathdsp {

namespace {

using namespace matrix::detail::noninlined::vx_array_api;

bool matchesCommand(TextView text, const char16_t* word, size_t minimum) {
    return text.length >= minimum && matchesOption(text, keywordView(word));
}

// FFTW's wisdom calls, one at a time across the process.
template <class Call>
auto underFftwLock(Call call) {
    vfl_fft::fftwApi::getInstance();  // FFTW set up first, so that no thread does it during the call
    tbb::spin_mutex::scoped_lock lock(vfl_fft::fftwApi::fftwAccessMutex_);
    return call();
}

// Every plan cache of the scope, of every family.
void clearAllCaches() {
    vfl_fft::forEachPlanContainer([](vfl_fft::PlanContainer& container) { container.clearAll(); });
}

std::string narrowed(TextView text) { return std::string(text.text, text.text + text.length); }

// The wisdom of one precision before the command; then, with a second argument, forgets (empty
// text, or an empty double or logical) or imports it.
vxArray* wisdomCommand(bool single, const vxArray* argument) {
    char* exported = underFftwLock([&] { return single ? fftwf_export_wisdom_to_string() : fftw_export_wisdom_to_string(); });
    vxArray* before = vxCreateString(exported ? exported : "");
    vfl_fft::fftwApi::getInstance().free(exported);
    if (!argument) return before;
    bool forget;
    if (Veltrix::String::isScalarText(argument, false, true)) {
        forget = readOptionText<VELTRA::fftfcn::invalidWisdomArg>(argument, true).length == 0;
    } else {
        const vxClassID id = classOf(argument);
        forget = vxIsEmpty(argument) && !(argument->flags & VX_FLAG_SPARSE) &&
                 (id == VX_LOGICAL_CLASS || id == VX_DOUBLE_CLASS);
    }
    if (forget) {
        underFftwLock([&] { single ? fftwf_forget_wisdom() : fftw_forget_wisdom(); });
        clearAllCaches();
        return before;
    }
    const std::string text = narrowed(readOptionText<VELTRA::fftfcn::invalidWisdomArg>(argument, true));
    const int imported = underFftwLock([&] {
        return single ? fftwf_import_wisdom_from_string(text.c_str()) : fftw_import_wisdom_from_string(text.c_str());
    });
    if (imported == 0) warn<VELTRA::fftfcn::WisdomImportFailed>();
    else clearAllCaches();
    return before;
}

const char* plannerWord(int32_t flags) {
    switch (flags) {
        case FFTW_MEASURE: return "measure";
        case FFTW_EXHAUSTIVE: return "exhaustive";
        case FFTW_PATIENT: return "patient";
        case FFTW_ESTIMATE: return "estimate";
        default: return "hybrid";
    }
}

int32_t plannerFlagsOf(TextView method) {
    if (matchesCommand(method, u"estimate", 2)) return FFTW_ESTIMATE;
    if (matchesCommand(method, u"measure", 1)) return FFTW_MEASURE;
    if (matchesCommand(method, u"patient", 1)) return FFTW_PATIENT;
    if (matchesCommand(method, u"exhaustive", 2)) return FFTW_EXHAUSTIVE;
    if (matchesCommand(method, u"hybrid", 1)) return vfl_fft::kPlannerHybrid;
    raise<VELTRA::fftfcn::invalidPlannerArg>();
}

// The method before the command; a new one empties every cache, also when it is the current one.
vxArray* plannerCommand(const vxArray* argument) {
    vxArray* before = vxCreateString(plannerWord(vfl_fft::getFFTWPlanContainer().context.plannerFlags));
    if (!argument) return before;
    const int32_t flags = plannerFlagsOf(readOptionText<VELTRA::fftfcn::invalidPlannerArg>(argument, true));
    vfl_fft::forEachPlanContainer([&](auto& container) {
        container.context.plannerFlags = flags;
        container.clearAll();
    });
    return before;
}

void rowsCommand(const vxArray* argument) {
    if (!argument) raise<VELTRA::fftfcn::needRowsArg>();
    if (classOf(argument) != VX_DOUBLE_CLASS || vxIsComplexFlags(argument) || vxIsEmpty(argument))
        raise<VELTRA::fftfcn::invalidRowsArg>();
    const double value = vxGetScalar(argument);
    if (!(std::isfinite(value) && value > 0)) raise<VELTRA::fftfcn::invalidRowsArg>();
    const uint64_t rows = value < 18446744073709551615.0 ? uint64_t(value) : UINT64_MAX;
    vfl_fft::forEachPlanContainer([&](auto& container) { container.context.rows = rows; });
}

}  // namespace

void fftwControlEntry(int nlhs, vxArray** plhs, int nrhs, const vxArray** prhs) {
    checkArgumentCounts(nlhs, 1, nrhs, 1, 2);
    const TextView command = readOptionText<VELTRA::fftfcn::FirstInputNotString>(prhs[0], true);
    const vxArray* argument = nrhs == 2 ? prhs[1] : nullptr;
    if (matchesCommand(command, u"wisdom", 3) || matchesCommand(command, u"dwisdom", 1)) {
        plhs[0] = wisdomCommand(false, argument);
    } else if (matchesCommand(command, u"swisdom", 1)) {
        plhs[0] = wisdomCommand(true, argument);
    } else if (matchesCommand(command, u"planner", 1)) {
        plhs[0] = plannerCommand(argument);
    } else if (matchesCommand(command, u"rows", 1)) {
        rowsCommand(argument);
    } else if (matchesCommand(command, u"withthreads", 3)) {
        vfl_fft::forEachPlanContainer([](auto& container) { container.context.numThreads = container.defaultThreads; });
    } else if (matchesCommand(command, u"nothreads", 1)) {
        vfl_fft::forEachPlanContainer([](auto& container) { container.context.numThreads = 1; });
    } else {
        raise<VELTRA::fftfcn::FirstInputInvalidString>();
    }
}

void fftwVersionInfoEntry(int nlhs, vxArray** plhs, int nrhs, const vxArray**) {
    checkArgumentCounts(nlhs, 1, nrhs, 0, 0);
    plhs[0] = vxCreateString(vfl_fft::fftwApi::getInstance().version().c_str());
}

}  // namespace vlmathdsp
