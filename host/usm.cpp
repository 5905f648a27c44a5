// The per-scope store: one per host thread, slots numbered once per process.
#include <atomic>
#include <typeindex>
#include <deque>

#include "host/embed.hpp"

namespace foundation::usm {

namespace {

struct Slot {
    const std::type_info* type = nullptr;
    Cell cell{nullptr, [](void*) {}};
};

std::atomic<size_t> gNextID{0};

std::deque<Slot>& store() {
    thread_local std::deque<Slot> slots;  // a deque keeps cells in place as it grows
    return slots;
}

}  // namespace

template <>
size_t Detail<scope::Vvm>::getNextID(const std::type_info&) {
    return gNextID.fetch_add(1);
}

template <>
Cell* Detail<scope::Vvm>::find(size_t id, const std::type_info& type) {
    auto& slots = store();
    if (id >= slots.size() || !slots[id].cell || *slots[id].type != type) return nullptr;
    return &slots[id].cell;
}

template <>
Cell* Detail<scope::Vvm>::findOrInsert(size_t id, const std::type_info& type, Cell&& cell) {
    auto& slots = store();
    if (id >= slots.size()) slots.resize(id + 1);
    if (!slots[id].cell) {
        slots[id].type = &type;
        slots[id].cell = std::move(cell);
    }
    return &slots[id].cell;
}

}  // namespace foundation::usm

namespace vlhost {

void clearScopeStore() {
    auto& slots = foundation::usm::store();
    // Destroy in reverse order of creation, leaving the numbering as it is.
    for (auto it = slots.rbegin(); it != slots.rend(); ++it) it->cell.reset();
}

}  // namespace vlhost
