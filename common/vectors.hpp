// Vectors of a real type for the register-blocked kernels: 64 bytes, loaded and stored unaligned.
// Arithmetic on them rounds each product and each sum, as the build keeps multiply-add off.
#pragma once

#include <cstddef>

namespace vlcommon {

constexpr size_t kVectorBytes = 64;
template <class T>
struct VecOf;
template <>
struct VecOf<float> {
    typedef float type __attribute__((vector_size(kVectorBytes)));
    typedef float unaligned __attribute__((vector_size(kVectorBytes), aligned(4), may_alias));
};
template <>
struct VecOf<double> {
    typedef double type __attribute__((vector_size(kVectorBytes)));
    typedef double unaligned __attribute__((vector_size(kVectorBytes), aligned(8), may_alias));
};
template <class T>
using Vec = typename VecOf<T>::type;
template <class T>
using UnalignedVec = typename VecOf<T>::unaligned;
template <class T>
constexpr size_t kLanes = sizeof(Vec<T>) / sizeof(T);

template <class T>
inline Vec<T> loadVec(const T* p) {
    return *reinterpret_cast<const UnalignedVec<T>*>(p);
}

template <class T>
inline void storeVec(T* p, const Vec<T>& v) {
    *reinterpret_cast<UnalignedVec<T>*>(p) = v;
}

}  // namespace vlcommon
