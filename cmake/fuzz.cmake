# -DVLMATHDSP_LIBFUZZER=ON (with clang): everything carries coverage counters, and one libFuzzer
# target per family of built-ins is built into fuzz/ (see scripts/libfuzzer.sh).
set(VLMATHDSP_FUZZ_FAMILIES conv fourier dcst filter statespace network)
add_compile_options(-fsanitize=fuzzer-no-link)
foreach(family ${VLMATHDSP_FUZZ_FAMILIES})
  add_executable(fuzz_${family} tests/fuzz/libfuzzer/target.cpp tests/fuzz/libfuzzer/decode.cpp)
  target_compile_definitions(fuzz_${family} PRIVATE VLFUZZ_FAMILY="${family}"
                             VLMATHDSP_MODULE_PATH="$<TARGET_FILE:vlmathdsp>")
  target_link_libraries(fuzz_${family} PRIVATE vlhost)
  target_link_options(fuzz_${family} PRIVATE -fsanitize=fuzzer)
  add_dependencies(fuzz_${family} vlmathdsp)
  set_target_properties(fuzz_${family} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/fuzz)
endforeach()
