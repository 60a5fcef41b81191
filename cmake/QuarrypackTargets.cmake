# Compile settings travel with targets: every target of the project links one of these privately.
add_library(quarrypack_settings INTERFACE)
target_include_directories(quarrypack_settings INTERFACE "${PROJECT_SOURCE_DIR}")
target_compile_options(quarrypack_settings INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Wdate-time
  $<$<BOOL:${QUARRYPACK_WERROR}>:-Werror>)
# The same sources give the same programs, in whatever folders they lie. Debuggers need the real folders.
target_compile_options(quarrypack_settings INTERFACE
  -fmacro-prefix-map=${PROJECT_SOURCE_DIR}=. -fmacro-prefix-map=${PROJECT_BINARY_DIR}=build
  $<$<NOT:$<CONFIG:Debug>>:-fdebug-prefix-map=${PROJECT_SOURCE_DIR}=.>
  $<$<NOT:$<CONFIG:Debug>>:-fdebug-prefix-map=${PROJECT_BINARY_DIR}=build>)
# Each operation on doubles rounds its result, with every processor: no fused multiplication and addition,
# and not the longer registers of the x87, which 32-bit x86 uses by default.
target_compile_options(quarrypack_settings INTERFACE -ffp-contract=off)
if(CMAKE_SIZEOF_VOID_P EQUAL 4 AND CMAKE_SYSTEM_PROCESSOR MATCHES "^(i.86|x86|x86_64|AMD64)$")
  target_compile_options(quarrypack_settings INTERFACE -msse2 -mfpmath=sse)
endif()
# Files of more than 2 GiB, and dates after 2038. No public header names a type that these widen, so
# programs that use the library need neither.
if(CMAKE_SIZEOF_VOID_P EQUAL 4)
  target_compile_definitions(quarrypack_settings INTERFACE _FILE_OFFSET_BITS=64 _TIME_BITS=64)
endif()

if(QUARRYPACK_SANITIZE)
  target_compile_options(quarrypack_settings INTERFACE
    -fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer
    # With the sanitizers' checks inserted, g++ 12 warns about sizes that no path can have.
    $<$<CXX_COMPILER_ID:GNU>:-Wno-stringop-overflow>)
  target_link_options(quarrypack_settings INTERFACE -fsanitize=address,undefined)
endif()

# Unsigned numbers may wrap in C++; here only in the functions that the list names.
if(QUARRYPACK_OVERFLOW)
  set(quarrypack_overflow_list "${CMAKE_CURRENT_LIST_DIR}/unsigned_overflow_ignore.txt")
  target_compile_options(quarrypack_settings INTERFACE
    -fsanitize=unsigned-integer-overflow -fsanitize-ignorelist=${quarrypack_overflow_list})
  target_link_options(quarrypack_settings INTERFACE -fsanitize=unsigned-integer-overflow)
endif()

if(QUARRYPACK_COVERAGE)
  target_compile_options(quarrypack_settings INTERFACE --coverage -fprofile-update=atomic)
  target_link_options(quarrypack_settings INTERFACE --coverage)
endif()

# Only the counters: just the fuzz targets link the driver; every other program has its own main.
if(QUARRYPACK_FUZZ)
  target_compile_options(quarrypack_settings INTERFACE -fsanitize=fuzzer-no-link)
  target_link_options(quarrypack_settings INTERFACE -fsanitize=fuzzer-no-link)
endif()

# The calls for one sample cross a dozen small sources. The libraries contain plain code beside what
# the optimizer needs, for programs that link without it. Tests link the plain code, which is faster.
if(QUARRYPACK_LTO AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  set(quarrypack_lto $<$<CONFIG:Release>:-flto=auto>)
  target_compile_options(quarrypack_settings INTERFACE
    ${quarrypack_lto} $<$<CONFIG:Release>:-ffat-lto-objects>)
endif()

if(QUARRYPACK_HARDEN)
  target_compile_options(quarrypack_settings INTERFACE -fstack-protector-strong
    $<$<AND:$<CONFIG:Release,RelWithDebInfo>,$<NOT:$<BOOL:${QUARRYPACK_SANITIZE}>>>:-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=3>)
  target_compile_definitions(quarrypack_settings INTERFACE _GLIBCXX_ASSERTIONS)
  target_link_options(quarrypack_settings INTERFACE
    -Wl,-z,relro,-z,now $<$<STREQUAL:$<TARGET_PROPERTY:TYPE>,EXECUTABLE>:-pie>)
endif()

# quarrypack_add_library(NAME SOURCES a.cpp b.cpp [LINK other ...]): one folder as a static library,
# with the alias quarrypack::NAME.
function(quarrypack_add_library name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LINK" ${ARGN})
  add_library(quarrypack_${name} STATIC ${ARG_SOURCES})
  add_library(quarrypack::${name} ALIAS quarrypack_${name})
  target_include_directories(quarrypack_${name} PUBLIC $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>)
  target_link_libraries(quarrypack_${name} PUBLIC ${ARG_LINK}
    PRIVATE $<BUILD_INTERFACE:quarrypack_settings>)
endfunction()

# quarrypack_add_companion(NAME SOURCES a.cpp b.cpp [LINK other ...]): a program beside the converter,
# quarrypack-NAME, from its main.cpp and the library quarrypack::companion_NAME, which tests link.
function(quarrypack_add_companion name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LINK" ${ARGN})
  quarrypack_add_library(companion_${name}
    SOURCES ${ARG_SOURCES} LINK quarrypack::captions quarrypack::companions ${ARG_LINK})
  add_executable(quarrypack-${name} main.cpp)
  target_link_libraries(quarrypack-${name} PRIVATE quarrypack::companion_${name} quarrypack_settings)
  target_link_options(quarrypack-${name} PRIVATE ${quarrypack_lto})
  set_target_properties(quarrypack-${name} PROPERTIES
    RUNTIME_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}")
endfunction()

# quarrypack_add_test(NAME SOURCES a.cpp [LINK lib ...]): one test program, its cases found by ctest.
function(quarrypack_add_test name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LINK" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  target_link_libraries(${name} PRIVATE ${ARG_LINK} GTest::gtest_main GTest::gtest quarrypack_settings)
  if(quarrypack_lto)
    target_link_options(${name} PRIVATE $<$<CONFIG:Release>:-fno-lto>)
  endif()
  gtest_discover_tests(${name} DISCOVERY_TIMEOUT 60 PROPERTIES TIMEOUT 300)
endfunction()
