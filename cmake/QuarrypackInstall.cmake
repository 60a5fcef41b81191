# What `cmake --install` installs for programs that use the library: the static libraries, their
# headers, and the CMake package "quarrypack" with the targets quarrypack::kav and quarrypack::kaf.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(quarrypack_headers "${CMAKE_INSTALL_INCLUDEDIR}/quarrypack")
set(quarrypack_package "${CMAKE_INSTALL_LIBDIR}/cmake/quarrypack")

install(TARGETS quarrypack quarrypack-captions quarrypack-check quarrypack-embed
  RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}")

foreach(room kav kaf)
  set_target_properties(quarrypack_${room} PROPERTIES EXPORT_NAME ${room})
  target_compile_features(quarrypack_${room} PUBLIC cxx_std_20)
  install(TARGETS quarrypack_${room} EXPORT quarrypack
    ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}"
    INCLUDES DESTINATION "${quarrypack_headers}")
  file(GLOB headers CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/${room}/*.h")
  install(FILES ${headers} DESTINATION "${quarrypack_headers}/${room}")
endforeach()

install(EXPORT quarrypack NAMESPACE quarrypack:: FILE quarrypackTargets.cmake
  DESTINATION "${quarrypack_package}")
configure_package_config_file(
  "${CMAKE_CURRENT_LIST_DIR}/quarrypackConfig.cmake.in"
  "${PROJECT_BINARY_DIR}/quarrypackConfig.cmake"
  INSTALL_DESTINATION "${quarrypack_package}")
write_basic_package_version_file("${PROJECT_BINARY_DIR}/quarrypackConfigVersion.cmake"
  COMPATIBILITY SameMajorVersion)
install(FILES
  "${PROJECT_BINARY_DIR}/quarrypackConfig.cmake"
  "${PROJECT_BINARY_DIR}/quarrypackConfigVersion.cmake"
  DESTINATION "${quarrypack_package}")
