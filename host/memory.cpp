// Host-managed memory: 64-byte aligned blocks with a header, reclaimed by the call frame.
#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <new>
#include <vector>


#include "host/call_frame.hpp"
#include "host/embed.hpp"
#include "host/recycled.hpp"
#include "host/threads.hpp"

namespace vlhost {
namespace {
std::atomic<long> gMallocExLeft{-1};  // vxMallocEx calls that may still pass; -1: all
std::atomic<long> gLiveBlocks{0};
constexpr uint64_t kMagic = 0x766c686f73746d6dull;
}  // namespace

void setMallocExFailAfter(long successes) { gMallocExLeft = successes; }
long liveByteBlocks() { return gLiveBlocks.load(); }
}  // namespace vlhost

namespace vlhost::detail {

namespace {
constexpr size_t kAlignment = 64;

PlainHeader* headerOf(void* ptr) {
    PlainHeader* h = static_cast<PlainHeader*>(ptr) - 1;
    return h;
}

// Large blocks are kept for reuse when freed: a fresh large block costs a page fault per page,
// which for a result of tens of megabytes is more than the computation that fills it.
constexpr size_t kCachedMinimum = size_t(1) << 20;
constexpr size_t kCachedBlocks = 4;
constexpr size_t kCachedBytesMax = size_t(1) << 30;

struct BlockCache {
    std::mutex mutex;
    std::vector<PlainHeader*> blocks;
    size_t bytes = 0;

    PlainHeader* take(size_t capacity) {
        std::lock_guard<std::mutex> lock(mutex);
        size_t best = blocks.size();
        for (size_t i = 0; i < blocks.size(); ++i) {
            const size_t c = blocks[i]->capacity;
            if (c >= capacity && c <= 2 * capacity && (best == blocks.size() || c < blocks[best]->capacity)) best = i;
        }
        if (best == blocks.size()) return nullptr;
        PlainHeader* h = blocks[best];
        blocks.erase(blocks.begin() + ptrdiff_t(best));
        bytes -= h->capacity;
        return h;
    }

    // Keeps a freed block, letting the oldest kept ones go to make room.
    bool keep(PlainHeader* h) {
        if (h->capacity > kCachedBytesMax) return false;
        std::vector<PlainHeader*> evicted;
        {
            std::lock_guard<std::mutex> lock(mutex);
            while (!blocks.empty() && (blocks.size() == kCachedBlocks || bytes + h->capacity > kCachedBytesMax)) {
                evicted.push_back(blocks.front());
                bytes -= blocks.front()->capacity;
                blocks.erase(blocks.begin());
            }
            blocks.push_back(h);
            bytes += h->capacity;
        }
        for (PlainHeader* e : evicted) std::free(e);
        return true;
    }
};

BlockCache& blockCache() {
    static BlockCache* cache = new BlockCache;  // outlives every array
    return *cache;
}

// Small blocks are kept per thread, a few of each power-of-two capacity: a small call's result
// then makes no trip through malloc, whose path for 1 KiB and more sweeps its fast bins. Under
// the address sanitizer capacities are not rounded up to a class, and nothing is kept.
constexpr size_t kSmallClasses = 11 * kShelved;  // 64 B to 64 KiB
thread_local Shelf<4, std::free> tSmall[kSmallClasses + 1];

// The class of a capacity (a multiple of kAlignment), kSmallClasses when above them.
size_t smallClass(size_t capacity) {
    size_t c = 0;
    while (c < kSmallClasses && (kAlignment << c) < capacity) ++c;
    return c;
}

PlainHeader* rawAllocate(size_t bytes) {
    if (bytes > SIZE_MAX / 2) return nullptr;
    size_t capacity = ((bytes + kAlignment - 1) / kAlignment) * kAlignment;
    const size_t small = smallClass(capacity);
    PlainHeader* h = nullptr;
    if (small < kSmallClasses) {
        capacity = kAlignment << small;
        h = static_cast<PlainHeader*>(tSmall[small].take());
    } else if (capacity >= kCachedMinimum) {
        h = blockCache().take(capacity);
    }
    if (!h) {
        void* raw = std::aligned_alloc(kAlignment, sizeof(PlainHeader) + capacity);
        if (!raw) return nullptr;
        h = static_cast<PlainHeader*>(raw);
        h->capacity = capacity;
    }
    h->bytes = bytes;
    h->frame = nullptr;
    h->prev = h->next = nullptr;
    h->magic = kMagic;
    h->arrayData = false;
    ++gLiveBlocks;
    return h;
}
// Large blocks are zeroed and copied on the host's threads, in pieces: one core's stores fall
// well short of the memory's bandwidth.
constexpr size_t kParallelBytesMin = size_t(1) << 22, kBytesPiece = size_t(1) << 18;

template <class Piece>
void inPieces(size_t bytes, const Piece& piece) {
    if (bytes < kParallelBytesMin || numThreads() < 2) {
        piece(size_t(0), bytes);
        return;
    }
    runWhole((bytes + kBytesPiece - 1) / kBytesPiece, [&](const tbb::blocked_range<size_t>& r) {
        const size_t begin = r.begin() * kBytesPiece;
        piece(begin, std::min(bytes, r.end() * kBytesPiece) - begin);
    });
}

}  // namespace

void* allocateBytes(size_t bytes, bool zero, bool tracked) {
    PlainHeader* h = rawAllocate(bytes);
    if (!h) throw std::bad_alloc();
    if (zero) inPieces(bytes, [p = reinterpret_cast<char*>(h + 1)](size_t at, size_t n) { std::memset(p + at, 0, n); });
    if (tracked)
        if (CallFrame* frame = currentFrame()) frame->link(h);
    return h + 1;
}

void freeBytes(void* ptr) {
    if (!ptr) return;
    PlainHeader* h = headerOf(ptr);
    CallFrame::unlink(h);
    h->magic = 0;
    --gLiveBlocks;
    const size_t small = smallClass(h->capacity);
    if (small < kSmallClasses && h->capacity == kAlignment << small && tSmall[small].put(h)) return;
    if (h->capacity < kCachedMinimum || !blockCache().keep(h)) std::free(h);
}

void copyBytes(void* dst, const void* src, size_t bytes) {
    inPieces(bytes, [&](size_t at, size_t n) {
        std::memcpy(static_cast<char*>(dst) + at, static_cast<const char*>(src) + at, n);
    });
}

size_t allocatedBytes(void* ptr) { return headerOf(ptr)->bytes; }

void untrackBytes(void* ptr) { CallFrame::unlink(headerOf(ptr)); }

void markArrayData(void* ptr, bool isArrayData) { headerOf(ptr)->arrayData = isArrayData; }

}  // namespace vlhost::detail

namespace matrix::detail::noninlined::vx_array_api {

using namespace vlhost::detail;

void* vxMalloc(size_t bytes) { return allocateBytes(bytes, false, true); }

void* vxCalloc(size_t count, size_t size) {
    if (size && count > SIZE_MAX / size) throw std::bad_alloc();
    return allocateBytes(count * size, true, true);
}

void* vxRealloc(void* ptr, size_t bytes) {
    if (!ptr) return vxMalloc(bytes);
    PlainHeader* h = headerOf(ptr);
    if (bytes <= h->capacity) {  // shrinking keeps the block where it is
        h->bytes = bytes;
        return ptr;
    }
    CallFrame* frame = h->frame;
    void* fresh = allocateBytes(bytes, false, false);
    std::memcpy(fresh, ptr, h->bytes);
    if (!h->arrayData) freeBytes(ptr);  // an array's data stays until its block goes
    if (frame) frame->link(headerOf(fresh));
    return fresh;
}

void vxFree(void* ptr) { freeBytes(ptr); }

void* vxMallocEx(size_t bytes) {
    long left = vlhost::gMallocExLeft.load();
    while (left > 0 && !vlhost::gMallocExLeft.compare_exchange_weak(left, left - 1)) {
    }
    if (left == 0) return nullptr;
    PlainHeader* h = rawAllocate(bytes);
    return h ? h + 1 : nullptr;
}

void vxFreeEx(void* ptr) { freeBytes(ptr); }

}  // namespace matrix::detail::noninlined::vx_array_api
