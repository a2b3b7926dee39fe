# The installation: the library with its headers, the host platform, files for CMake and pkg-config,
# documents and examples, and tyksim with its manual and its completion.
include(CMakePackageConfigHelpers)

# Strips debug symbols from an installed copy. Packaging tools, which use the build type None,
# separate them themselves.
install(CODE "if(NOT CMAKE_INSTALL_CONFIG_NAME MATCHES \"^(Debug|None)$\")
  set(CMAKE_INSTALL_DO_STRIP TRUE)
endif()")

set(package_folder ${CMAKE_INSTALL_LIBDIR}/cmake/pipelinesimulation)
set(installed_targets pipelinesimulation)
set(pkgconfig_files pipelinesimulation)
if(TYK_BUILD_DESKTOP)
    list(APPEND installed_targets tyktags tykhost tykhost_objects)
    list(APPEND pkgconfig_files tykhost)
endif()
if(TYK_BUILD_TOOL)
    list(APPEND installed_targets tyksim_processor)
endif()
install(TARGETS ${installed_targets} EXPORT pipelinesimulationTargets
        FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/pipelinesimulation)
install(EXPORT pipelinesimulationTargets NAMESPACE pipelinesimulation::
        DESTINATION ${package_folder})

configure_package_config_file(cmake/pipelinesimulationConfig.cmake.in
    ${PROJECT_BINARY_DIR}/pipelinesimulationConfig.cmake INSTALL_DESTINATION ${package_folder})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/pipelinesimulationConfigVersion.cmake
    COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/pipelinesimulationConfig.cmake
              ${PROJECT_BINARY_DIR}/pipelinesimulationConfigVersion.cmake
        DESTINATION ${package_folder})

# The prefix is known at installation.
set(TYK_PREFIX @TYK_PREFIX@)
foreach(name IN LISTS pkgconfig_files)
    configure_file(cmake/${name}.pc.in ${PROJECT_BINARY_DIR}/${name}.pc.in @ONLY)
    install(CODE "set(TYK_PREFIX \${CMAKE_INSTALL_PREFIX})
configure_file(${PROJECT_BINARY_DIR}/${name}.pc.in ${PROJECT_BINARY_DIR}/${name}.pc @ONLY)")
    install(FILES ${PROJECT_BINARY_DIR}/${name}.pc
            DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endforeach()

install(FILES README.md CONTRIBUTING.md CHANGELOG.md RELEASING.md SECURITY.md
        DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(DIRECTORY docs examples DESTINATION ${CMAKE_INSTALL_DOCDIR}
        PATTERN "Doxyfile" EXCLUDE PATTERN ".clang-tidy" EXCLUDE PATTERN "make.py" EXCLUDE
        PATTERN "__pycache__" EXCLUDE)

if(TYK_BUILD_TOOL)
    file(RELATIVE_PATH from_bin_to_lib
         /prefix/${CMAKE_INSTALL_BINDIR} /prefix/${CMAKE_INSTALL_LIBDIR})
    set_target_properties(tyksim PROPERTIES INSTALL_RPATH "$ORIGIN/${from_bin_to_lib}")
    install(TARGETS tyksim)
    include(cmake/Manual.cmake)
endif()
