// FFTW's process-wide state: threads that run on TBB, one lock for the planner, plan destruction
// and wisdom.
#include <atomic>

#include <fftw3.h>

#include "common/parallel_range.hpp"
#include "fftlib/fft.hpp"
#include "fftlib/plans.hpp"

namespace vfl_fft {

tbb::spin_mutex fftwApi::fftwAccessMutex_;

namespace {

std::atomic<uint64_t> gPlansMade{0};
thread_local bool tSerialPieces = false;

// FFTW's worker jobs become TBB tasks, so the process keeps one pool.
void runOnTbb(void* (*work)(char*), char* jobData, size_t elementSize, int jobs, void*) {
    vlcommon::forEachIndex(!tSerialPieces, 0, jobs, 1, [&](int j) { work(jobData + elementSize * size_t(j)); });
}

}  // namespace

fftwApi::fftwApi() {
    fftw_init_threads();
    fftwf_init_threads();
    fftw_make_planner_thread_safe();
    fftwf_make_planner_thread_safe();
    fftw_threads_set_callback(runOnTbb, nullptr);
    fftwf_threads_set_callback(runOnTbb, nullptr);
}

fftwApi& fftwApi::getInstance() {
    static fftwApi* api = new fftwApi;  // plans may be destroyed during the process's exit
    return *api;
}

void fftwApi::destroyPlan(fftw_plan plan) { Fftw<double>::destroy(plan); }
void fftwApi::destroyPlan(fftwf_plan plan) { Fftw<float>::destroy(plan); }
void fftwApi::free(void* pointer) { fftw_free(pointer); }
std::string fftwApi::version() const { return fftw_version; }
uint64_t fftwApi::plansMade() const { return gPlansMade.load(); }

void countPlanMade() { ++gPlansMade; }

SerialPieces::SerialPieces(bool serial) : before(tSerialPieces) { tSerialPieces = serial; }
SerialPieces::~SerialPieces() { tSerialPieces = before; }

void lockFftw() {
    fftwApi::getInstance();  // FFTW is set up (threads, thread-safe planner) before any call under the lock
    fftwApi::fftwAccessMutex_.lock();
}
void unlockFftw() { fftwApi::fftwAccessMutex_.unlock(); }

}  // namespace vfl_fft
