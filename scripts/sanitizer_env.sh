# Sourced: the environment that loads the instrumented Python extension into /usr/bin/python3.
# The sanitizer runtime must come first in the process, so it is preloaded, with the C++ runtime
# whose exceptions it intercepts (the interpreter itself does not load it). Leak checking is
# off for Python (the interpreter keeps its own objects at exit); the host's live-array and
# live-block counters stand in for it. A request beyond 4 GiB answers null, as the host expects.
VLMATHDSP_SANITIZER_PRELOAD="$(g++ -print-file-name=libasan.so) $(g++ -print-file-name=libstdc++.so)"
export VLMATHDSP_SANITIZER_PRELOAD
sanitized() {
  LD_PRELOAD="$VLMATHDSP_SANITIZER_PRELOAD" \
  ASAN_OPTIONS="detect_leaks=0:allocator_may_return_null=1:max_allocation_size_mb=4096" \
  UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1" "$@"
}
