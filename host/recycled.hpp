// Freed memory kept per thread for reuse: a small call makes and frees a few records and small
// blocks, and a trip through malloc for every one of them is a good part of such a call's cost.
#pragma once

#include <cstddef>
#include <new>

namespace vlhost::detail {

// Up to N freed pieces of one size kept by a thread; `Release` frees those left when the thread
// ends, and every piece put back afterwards.
template <std::size_t N, void (*Release)(void*)>
class Shelf {
public:
    void* take() { return alive_ && count_ ? kept_[--count_] : nullptr; }
    bool put(void* p) {
        if (!alive_ || count_ == N) return false;
        kept_[count_++] = p;
        return true;
    }
    ~Shelf() {
        alive_ = false;
        while (count_) Release(kept_[--count_]);
    }

private:
    void* kept_[N ? N : 1] = {};
    std::size_t count_ = 0;
    bool alive_ = true;
};

// Shelves keep nothing under the address sanitizer, which must see every piece freed.
#if defined(__SANITIZE_ADDRESS__)
constexpr std::size_t kShelved = 0;
#else
constexpr std::size_t kShelved = 1;
#endif

inline void deleteRecord(void* p) { ::operator delete(p); }

// Derive T from Recycled<T> to keep up to 16 freed T's per thread.
template <class T>
struct Recycled {
    static void* operator new(std::size_t bytes) {
        void* p = bytes == sizeof(T) ? shelf().take() : nullptr;
        return p ? p : ::operator new(bytes);
    }
    static void operator delete(void* p, std::size_t bytes) {
        if (p && !(bytes == sizeof(T) && shelf().put(p))) ::operator delete(p);
    }

private:
    static Shelf<16 * kShelved, deleteRecord>& shelf() {
        thread_local Shelf<16 * kShelved, deleteRecord> s;
        return s;
    }
};

}  // namespace vlhost::detail
