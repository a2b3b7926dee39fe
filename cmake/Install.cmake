# What `cmake --install` and CPack ship: the library and its headers, the host platform, tyksim, a
# CMake package and pkg-config files.
include(CMakePackageConfigHelpers)

set(header_folder ${CMAKE_INSTALL_INCLUDEDIR}/pipelinesimulation)
set(package_folder ${CMAKE_INSTALL_LIBDIR}/cmake/pipelinesimulation)

install(FILES core/Export.h core/PipelineSimMgr.h core/PipelineSimulation.h
        DESTINATION ${header_folder}/core)
install(FILES replay/BlockParamDesc.h DESTINATION ${header_folder}/replay)
install(DIRECTORY platform DESTINATION ${header_folder} FILES_MATCHING PATTERN "*.h")
set(installed_targets pipelinesimulation)
if(TYK_BUILD_DESKTOP)
    install(DIRECTORY host DESTINATION ${header_folder} FILES_MATCHING PATTERN "*.h"
            PATTERN "DevicePath.h" EXCLUDE PATTERN "Immortal.h" EXCLUDE)
    list(APPEND installed_targets tykhost tykhost_objects)
    install(TARGETS tyksim)
endif()
install(TARGETS ${installed_targets} EXPORT pipelinesimulationTargets)
install(EXPORT pipelinesimulationTargets NAMESPACE pipelinesimulation::
        DESTINATION ${package_folder})

configure_package_config_file(cmake/pipelinesimulationConfig.cmake.in
    ${PROJECT_BINARY_DIR}/pipelinesimulationConfig.cmake INSTALL_DESTINATION ${package_folder})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/pipelinesimulationConfigVersion.cmake
    COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/pipelinesimulationConfig.cmake
              ${PROJECT_BINARY_DIR}/pipelinesimulationConfigVersion.cmake
        DESTINATION ${package_folder})

set(pkgconfig_files pipelinesimulation)
if(TYK_BUILD_DESKTOP)
    list(APPEND pkgconfig_files tykhost)
endif()
foreach(name IN LISTS pkgconfig_files)
    configure_file(cmake/${name}.pc.in ${PROJECT_BINARY_DIR}/${name}.pc @ONLY)
    install(FILES ${PROJECT_BINARY_DIR}/${name}.pc
            DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endforeach()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_VENDOR "pipelinesimulation")
set(CPACK_PACKAGE_CONTACT "The pipelinesimulation maintainers <maintainers@localhost>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "libpugixml-dev")
include(CPack)
