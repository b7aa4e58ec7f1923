zelsr_example(denoise)

# With SpeexDSP, `denoise measure` has its preprocessor beside the example's own results.
pkg_check_modules(SPEEXDSP IMPORTED_TARGET speexdsp)
if(SPEEXDSP_FOUND)
  target_link_libraries(denoise PRIVATE PkgConfig::SPEEXDSP)
  target_compile_definitions(denoise PRIVATE DENOISE_SPEEXDSP)
else()
  message(STATUS "denoise: no SpeexDSP found, measured without it")
endif()

zelsr_program_test(denoise $<TARGET_FILE:denoise> ${speech})
