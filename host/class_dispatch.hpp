// Calls a generic functor with the element type of a class. Internal to the host.
#pragma once

#include <cstdint>

#include "module/host_interface.hpp"

namespace vlhost::detail {

template <class T>
struct TypeTag {
    using type = T;
};

// Logical elements are read as bool (0 or 1), characters as char16_t.
template <class F>
decltype(auto) dispatchClass(vxClassID id, F&& f) {
    switch (id) {
        case VX_DOUBLE_CLASS: return f(TypeTag<double>{});
        case VX_SINGLE_CLASS: return f(TypeTag<float>{});
        case VX_LOGICAL_CLASS: return f(TypeTag<bool>{});
        case VX_CHAR_CLASS: return f(TypeTag<char16_t>{});
        case VX_INT8_CLASS: return f(TypeTag<int8_t>{});
        case VX_UINT8_CLASS: return f(TypeTag<uint8_t>{});
        case VX_INT16_CLASS: return f(TypeTag<int16_t>{});
        case VX_UINT16_CLASS: return f(TypeTag<uint16_t>{});
        case VX_INT32_CLASS: return f(TypeTag<int32_t>{});
        case VX_UINT32_CLASS: return f(TypeTag<uint32_t>{});
        case VX_INT64_CLASS: return f(TypeTag<int64_t>{});
        case VX_UINT64_CLASS: return f(TypeTag<uint64_t>{});
        default: return f(TypeTag<void>{});
    }
}

}  // namespace vlhost::detail
