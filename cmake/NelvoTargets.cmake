# One static library per subsystem folder. A library sees its own headers and
# those of the libraries it links, nothing else, so an include against the
# dependency direction fails to compile.
function(nelvo_add_library name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LIBS" ${ARGN})
  add_library(${name} STATIC ${ARG_SOURCES})
  target_include_directories(${name} PUBLIC ${CMAKE_CURRENT_SOURCE_DIR})
  target_link_libraries(${name} PUBLIC ${ARG_LIBS})
endfunction()

# A Qt Test executable named after the type it tests, run by CTest.
# LABELS "realtime" marks tests that run real pipelines at real-time pace.
function(nelvo_add_test name)
  cmake_parse_arguments(ARG "UNPRIVILEGED_TOO" "TIMEOUT" "SOURCES;LIBS;LABELS;UNPRIVILEGED_FUNCTIONS"
    ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  target_link_libraries(${name} PRIVATE ${ARG_LIBS} Qt6::Test nelvo_testsupport)
  add_test(NAME ${name} COMMAND ${name})
  if(NOT ARG_TIMEOUT)
    set(ARG_TIMEOUT 120)
  endif()
  # CTest starts the costliest tests first. A machine that has not run the
  # suite before knows no durations, so the time a test is allowed stands in:
  # long tests left to the end would finish the run alone, one job idle.
  set_tests_properties(${name} PROPERTIES
    TIMEOUT ${ARG_TIMEOUT}
    COST ${ARG_TIMEOUT}
    LABELS "${ARG_LABELS}"
    ENVIRONMENT "QT_QPA_PLATFORM=offscreen;NELVO_SOURCE_DIR=${PROJECT_SOURCE_DIR};NELVO_BINARY_DIR=${PROJECT_BINARY_DIR}")
  # Permission cases pass vacuously as root; run them again as a plain user:
  # the whole test, or only the functions named.
  if(ARG_UNPRIVILEGED_TOO OR ARG_UNPRIVILEGED_FUNCTIONS)
    add_test(NAME ${name}_unprivileged
      COMMAND ${PROJECT_SOURCE_DIR}/scripts/run-unprivileged $<TARGET_FILE:${name}>
        ${ARG_UNPRIVILEGED_FUNCTIONS})
    set_tests_properties(${name}_unprivileged PROPERTIES
      TIMEOUT ${ARG_TIMEOUT}
      COST ${ARG_TIMEOUT}
      LABELS "${ARG_LABELS}"
      ENVIRONMENT "QT_QPA_PLATFORM=offscreen;NELVO_SOURCE_DIR=${PROJECT_SOURCE_DIR};NELVO_BINARY_DIR=${PROJECT_BINARY_DIR}")
  endif()
endfunction()

# A benchmark executable; `make bench` runs every one and prints its figures.
function(nelvo_add_bench name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LIBS" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  target_link_libraries(${name} PRIVATE ${ARG_LIBS})
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/bench/support)
  set_property(GLOBAL APPEND PROPERTY NELVO_BENCHES ${name})
endfunction()
