// An array handle that a front end made and destroys, unless it hands it on.
#pragma once

#include <utility>

#include "module/host_interface.hpp"

namespace vlmathdsp {

class OwnedArray {
public:
    OwnedArray() = default;
    explicit OwnedArray(vxArray* array, bool owned = true) : array_(array), owned_(owned) {}
    OwnedArray(const OwnedArray&) = delete;
    OwnedArray& operator=(const OwnedArray&) = delete;
    OwnedArray(OwnedArray&& other) noexcept : array_(other.array_), owned_(other.owned_) { other.owned_ = false; }
    OwnedArray& operator=(OwnedArray&& other) noexcept {
        std::swap(array_, other.array_);
        std::swap(owned_, other.owned_);
        return *this;
    }
    ~OwnedArray() {
        if (owned_) matrix::detail::noninlined::vx_array_api::vxDestroyArray(array_);
    }

    // Adopts the result of vxMustBe, which hands back the input itself when nothing changes.
    static OwnedArray converted(vxArray* result, const vxArray* input) {
        return OwnedArray(result, result != input);
    }

    vxArray* get() const { return array_; }
    bool owns() const { return owned_; }
    vxArray* operator->() const { return array_; }
    vxArray* release() {
        owned_ = false;
        return array_;
    }

private:
    vxArray* array_ = nullptr;
    bool owned_ = false;
};

}  // namespace vlmathdsp
