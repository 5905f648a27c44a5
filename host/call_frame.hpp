// Call frames: what a built-in call made and did not hand back is reclaimed when the call ends.
#pragma once

#include <string>
#include <vector>

#include "host/array.hpp"

namespace vlhost::detail {

// Header in front of every host-managed byte block.
struct alignas(64) PlainHeader {
    size_t bytes;     // asked for
    size_t capacity;  // usable, a multiple of 64
    CallFrame* frame;
    PlainHeader* prev;
    PlainHeader* next;
    uint64_t magic;
    bool arrayData;  // the data of an array: its block frees it
};

struct FrameWarning {
    resource_core::BaseMsgID id;
    std::string identifier;
    std::string message;
};

struct CallFrame {
    CallFrame();
    ~CallFrame();  // destroys every array and block still linked
    CallFrame(const CallFrame&) = delete;
    CallFrame& operator=(const CallFrame&) = delete;

    void link(HostArray* a);
    void link(PlainHeader* h);
    static void unlink(HostArray* a);
    static void unlink(PlainHeader* h);

    HostArray* arrays = nullptr;
    PlainHeader* blocks = nullptr;
    std::vector<FrameWarning> warnings;
    CallFrame* outer;
};

// The frame open on this thread, or null outside calls.
CallFrame* currentFrame();

}  // namespace vlhost::detail
