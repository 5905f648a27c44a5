// ltitr.cpp: x[k+1] = A x[k] + B u[k] from x[0] = 0, through the library's slot 11.
#include <cstdio>

#include "host/embed.hpp"

int main() {
    const vlhost::Module& m = vlhost::Module::loadDefault();  // the library beside libvlhost
    vxArray* A = vlhost::createNumeric({2, 2}, VX_DOUBLE_CLASS, false);  // zero-filled, column-major
    vxArray* B = vlhost::createNumeric({2, 1}, VX_DOUBLE_CLASS, false);
    vxArray* U = vlhost::createNumeric({4, 1}, VX_DOUBLE_CLASS, false);
    double* a = static_cast<double*>(A->data);
    a[0] = 0.5, a[3] = 0.25;
    static_cast<double*>(B->data)[0] = 1;
    for (int k = 0; k < 4; ++k) static_cast<double*>(U->data)[k] = 1;
    vlhost::CallResult r = vlhost::callSlot(m, 11, 1, {A, B, U});  // throws vlhost::HostError
    const double* x = static_cast<const double*>(r.outputs[0]->data);  // 4 steps by 2 states
    for (int k = 0; k < 4; ++k) std::printf("%g %g\n", x[k], x[4 + k]);
    for (vxArray* array : {A, B, U, r.outputs[0]}) vlhost::destroy(array);
}
