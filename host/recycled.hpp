// Small records kept per thread for reuse: a small call makes and frees a few of each, and a trip
// through malloc for every one of them is a good part of such a call's cost.
#pragma once

#include <cstddef>
#include <new>

namespace vlhost::detail {

// Derive T from Recycled<T> to keep up to kKept freed T's per thread. Off under the address
// sanitizer, which must see every record freed.
template <class T>
struct Recycled {
    static void* operator new(std::size_t bytes) {
        Shelf& s = shelf();
        if (bytes == sizeof(T) && s.alive && s.count) return s.kept[--s.count];
        return ::operator new(bytes);
    }
    static void operator delete(void* p, std::size_t bytes) {
        Shelf& s = shelf();
        if (p && bytes == sizeof(T) && s.alive && s.count < kKept) s.kept[s.count++] = p;
        else ::operator delete(p);
    }

private:
#if defined(__SANITIZE_ADDRESS__)
    static constexpr std::size_t kKept = 0;
#else
    static constexpr std::size_t kKept = 16;
#endif
    struct Shelf {
        void* kept[kKept ? kKept : 1] = {};
        std::size_t count = 0;
        bool alive = true;  // false once this thread's shelf is gone
        ~Shelf() {
            alive = false;
            while (count) ::operator delete(kept[--count]);
        }
    };
    static Shelf& shelf() {
        thread_local Shelf s;
        return s;
    }
};

}  // namespace vlhost::detail
