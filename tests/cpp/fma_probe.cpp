// A multiply-add the compiler may fuse: the no_fused_multiply_add check must find it.
double fmaProbe(double a, double b, double c) { return a * b + c; }
