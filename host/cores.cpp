// The cores the process may use, counted for TBB whatever thread asks first.
#include "host/threads.hpp"

#include <sched.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <sstream>
#include <string>

#include <oneapi/tbb/info.h>

namespace vlhost::detail {

namespace {

// A cpuset list ("0-3,8"), or false when it cannot be read.
bool readCoreList(const char* path, cpu_set_t& set) {
    std::ifstream file(path);
    std::string text;
    if (!file || !std::getline(file, text) || text.empty()) return false;
    CPU_ZERO(&set);
    std::stringstream parts(text);
    std::string part;
    while (std::getline(parts, part, ',')) {
        const size_t dash = part.find('-');
        try {
            const int lo = std::stoi(part.substr(0, dash));
            const int hi = dash == std::string::npos ? lo : std::stoi(part.substr(dash + 1));
            for (int c = std::max(lo, 0); c <= hi && c < CPU_SETSIZE; ++c) CPU_SET(c, &set);
        } catch (const std::exception&) {
            return false;
        }
    }
    return CPU_COUNT(&set) > 0;
}

// The process's cores: its cgroup's set (version 2, then 1), else every online core. What any one
// thread is bound to does not narrow it.
cpu_set_t processCores() {
    cpu_set_t set;
    if (readCoreList("/sys/fs/cgroup/cpuset.cpus.effective", set) ||
        readCoreList("/sys/fs/cgroup/cpuset/cpuset.effective_cpus", set))
        return set;
    CPU_ZERO(&set);
    const long online = sysconf(_SC_NPROCESSORS_ONLN);
    for (long c = 0; c < std::max(online, 1L) && c < CPU_SETSIZE; ++c) CPU_SET(int(c), &set);
    return set;
}

}  // namespace

size_t tbbCores() {
    // TBB counts the cores once, from the set of the thread that first asks: a first call from a
    // thread bound to one core would leave every later call on one thread. The first ask is made
    // here, with the asking thread's set widened to the process's cores for that moment.
    static const size_t count = [] {
        cpu_set_t own, all = processCores();
        const bool widen = sched_getaffinity(0, sizeof own, &own) == 0 && !CPU_EQUAL(&own, &all) &&
                           sched_setaffinity(0, sizeof all, &all) == 0;
        const int n = tbb::info::default_concurrency();
        if (widen) sched_setaffinity(0, sizeof own, &own);
        return size_t(std::max(1, n));
    }();
    return count;
}

}  // namespace vlhost::detail
