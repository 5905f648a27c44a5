// The SIGINT bridge: Python's signal handler, chained behind ours for the length of a call.
#include "python/interrupt.hpp"

#include <errno.h>
#include <semaphore.h>
#include <signal.h>
#include <unistd.h>

#include <thread>

#include <Python.h>

namespace vlpy {

namespace {

unsigned long gMainThread = 0;
struct sigaction gChained;  // the handler ours stands in front of
sem_t gWake;
pid_t gWatcherProcess = 0;  // a forked child starts its own watcher

void onSigint(int signal, siginfo_t* info, void* context) {
    const int saved = errno;
    sem_post(&gWake);
    errno = saved;
    if (gChained.sa_flags & SA_SIGINFO) gChained.sa_sigaction(signal, info, context);
    else gChained.sa_handler(signal);
}

// The watcher thread: interruptCalls() takes locks, so it runs here and not in the handler.
void watch() {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_BLOCK, &all, nullptr);
    for (;;) {
        while (sem_wait(&gWake) != 0) {
        }
        vlhost::interruptCalls();
    }
}

void startWatcher() {
    if (gWatcherProcess == getpid()) return;
    sem_init(&gWake, 0, 0);
    std::thread(watch).detach();
    gWatcherProcess = getpid();
}

}  // namespace

void noteMainThread(unsigned long ident) { gMainThread = ident; }

SigintWatch::SigintWatch(bool wanted) {
    if (!wanted || PyThread_get_thread_ident() != gMainThread) return;
    startWatcher();
    struct sigaction ours {};
    ours.sa_sigaction = onSigint;
    sigemptyset(&ours.sa_mask);
    ours.sa_flags = SA_SIGINFO | SA_ONSTACK;
    if (sigaction(SIGINT, &ours, &gChained) != 0) return;
    const bool chainable =
        (gChained.sa_flags & SA_SIGINFO) || (gChained.sa_handler != SIG_DFL && gChained.sa_handler != SIG_IGN);
    if (!chainable) {  // the process's own choice for SIGINT stands
        sigaction(SIGINT, &gChained, nullptr);
        return;
    }
    active_ = true;
    interruptible_.emplace();
}

SigintWatch::~SigintWatch() {
    if (active_) sigaction(SIGINT, &gChained, nullptr);
}

}  // namespace vlpy
