zelsr_example(train_gmm)

# With MPI, train_gmm works over the ranks that a launcher starts; without, it works alone.
find_package(MPI QUIET COMPONENTS C)
if(MPI_C_FOUND)
  target_link_libraries(train_gmm PRIVATE MPI::MPI_C)
  target_compile_definitions(train_gmm PRIVATE TRAIN_GMM_MPI)
else()
  message(STATUS "train_gmm: no MPI found, built to run alone")
endif()

zelsr_program_test(train_gmm $<TARGET_FILE:train_gmm> ${speech} ${MPIEXEC_EXECUTABLE})
