# cmake/InstallVellum.cmake - what `cmake --install` puts in place: the library, its public headers,
# the CMake package (find_package(vellum), target vellum::vellum) and vellum.pc

include(CMakePackageConfigHelpers)

set(vellum_package_dir "${CMAKE_INSTALL_LIBDIR}/cmake/vellum")
set(vellum_pkgconfig_dir "${CMAKE_INSTALL_LIBDIR}/pkgconfig")

install(TARGETS vellum EXPORT vellum-targets
    RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}"
    LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}"
    ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}"
    FILE_SET HEADERS DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}")

install(EXPORT vellum-targets NAMESPACE vellum:: DESTINATION "${vellum_package_dir}")

configure_package_config_file(
    "${PROJECT_SOURCE_DIR}/cmake/vellum-config.cmake.in"
    "${PROJECT_BINARY_DIR}/vellum-config.cmake"
    INSTALL_DESTINATION "${vellum_package_dir}"
    NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file("${PROJECT_BINARY_DIR}/vellum-config-version.cmake"
    COMPATIBILITY SameMinorVersion)
install(FILES
    "${PROJECT_BINARY_DIR}/vellum-config.cmake"
    "${PROJECT_BINARY_DIR}/vellum-config-version.cmake"
    DESTINATION "${vellum_package_dir}")

# vellum.pc finds its prefix from where it lies, so that the tree can be installed or moved anywhere.
# Directories that the user gave as absolute paths stand in it as they are.
foreach(kind LIB INCLUDE)
    string(TOLOWER ${kind} lower)
    if(IS_ABSOLUTE "${CMAKE_INSTALL_${kind}DIR}")
        set(vellum_pc_${lower}dir "${CMAKE_INSTALL_${kind}DIR}")
    else()
        set(vellum_pc_${lower}dir "\${prefix}/${CMAKE_INSTALL_${kind}DIR}")
    endif()
endforeach()
file(RELATIVE_PATH vellum_pc_up
    "${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig" "${CMAKE_INSTALL_PREFIX}")
string(REGEX REPLACE "/$" "" vellum_pc_up "${vellum_pc_up}")
configure_file("${PROJECT_SOURCE_DIR}/cmake/vellum.pc.in" "${PROJECT_BINARY_DIR}/vellum.pc" @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/vellum.pc" DESTINATION "${vellum_pkgconfig_dir}")
