// Call frames, one stack per thread.
#include "host/call_frame.hpp"

namespace vlhost::detail {

namespace {
thread_local CallFrame* tFrame = nullptr;
}

CallFrame* currentFrame() { return tFrame; }

CallFrame::CallFrame() : outer(tFrame) { tFrame = this; }

CallFrame::~CallFrame() {
    tFrame = outer;
    // Destroying an array may destroy others it owns, so always take the head afresh.
    while (arrays) {
        HostArray* a = arrays;
        unlink(a);
        matrix::detail::noninlined::vx_array_api::vxDestroyArray(a);
    }
    while (blocks) {
        PlainHeader* h = blocks;
        unlink(h);
        freeBytes(h + 1);
    }
}

void CallFrame::link(HostArray* a) {
    a->frame = this;
    a->prev = nullptr;
    a->next = arrays;
    if (arrays) arrays->prev = a;
    arrays = a;
}

void CallFrame::link(PlainHeader* h) {
    h->frame = this;
    h->prev = nullptr;
    h->next = blocks;
    if (blocks) blocks->prev = h;
    blocks = h;
}

void CallFrame::unlink(HostArray* a) {
    if (!a->frame) return;
    if (a->prev) a->prev->next = a->next;
    else a->frame->arrays = a->next;
    if (a->next) a->next->prev = a->prev;
    a->frame = nullptr;
    a->prev = a->next = nullptr;
}

void CallFrame::unlink(PlainHeader* h) {
    if (!h->frame) return;
    if (h->prev) h->prev->next = h->next;
    else h->frame->blocks = h->next;
    if (h->next) h->next->prev = h->prev;
    h->frame = nullptr;
    h->prev = h->next = nullptr;
}

}  // namespace vlhost::detail
