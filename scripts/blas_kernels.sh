# Sourced by the benchmark and tour scripts: on a CPU with the AVX-512 subsets of OpenBLAS's
# SkylakeX kernels, those kernels, which OpenBLAS 0.3.21 does not pick by itself on every such
# CPU (on this project's AVX-512 machines it picks its AVX2 ones). Set before any process loads
# the BLAS, so we and the peers that use it run the same kernels. An OPENBLAS_CORETYPE already
# set is kept.
if [ -z "${OPENBLAS_CORETYPE:-}" ] && [ -r /proc/cpuinfo ]; then
  flags=$(grep -m1 '^flags' /proc/cpuinfo)
  if [[ " $flags " == *" avx512f "* && " $flags " == *" avx512bw "* && " $flags " == *" avx512dq "* &&
        " $flags " == *" avx512vl "* ]]; then
    export OPENBLAS_CORETYPE=SkylakeX
  fi
fi
