# What is installed, and the packages made of it. On Windows the DLLs with all that a program beside them needs; on
# Linux the archives, with the simulated PC. Either way find_package(Sysmira) finds it.
include(CMakePackageConfigHelpers)

set(package_folder ${CMAKE_INSTALL_LIBDIR}/cmake/Sysmira)
if(WIN32)
    set(document_folder .)
else()
    set(document_folder ${CMAKE_INSTALL_DOCDIR})
endif()

set_target_properties(sysmira_platform PROPERTIES EXPORT_NAME platform)
set(libraries sysmira_platform common Sysmira)
if(NOT WIN32)
    set_target_properties(sysmira_identifiers PROPERTIES EXPORT_NAME identifiers)
    set_target_properties(SysmiraSimulation PROPERTIES EXPORT_NAME SimulationArchive)
    set_target_properties(sysmira_whole_simulation PROPERTIES EXPORT_NAME Simulation)
    list(APPEND libraries sysmira_identifiers SysmiraSimulation sysmira_whole_simulation)
endif()
install(TARGETS ${libraries} EXPORT SysmiraTargets)
install(TARGETS sysmira)
install(EXPORT SysmiraTargets NAMESPACE Sysmira:: DESTINATION ${package_folder})

configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/SysmiraConfig.cmake.in
    ${CMAKE_BINARY_DIR}/SysmiraConfig.cmake INSTALL_DESTINATION ${package_folder}
    NO_SET_AND_CHECK_MACRO NO_CHECK_REQUIRED_COMPONENTS_MACRO)
write_basic_package_version_file(${CMAKE_BINARY_DIR}/SysmiraConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${CMAKE_BINARY_DIR}/SysmiraConfig.cmake ${CMAKE_BINARY_DIR}/SysmiraConfigVersion.cmake
    DESTINATION ${package_folder})

# Headers keep their paths. Those that stay here hold nothing that a DLL exports.
set(headers ${CMAKE_INSTALL_INCLUDEDIR}/sysmira)
install(DIRECTORY support DESTINATION ${headers} FILES_MATCHING PATTERN "*.h" PATTERN CaseTable.h EXCLUDE)
install(DIRECTORY libSysmira DESTINATION ${headers} FILES_MATCHING PATTERN "*.h"
    REGEX "/(CircleDetector|CommonStorage|DeviceEnumeration|DeviceLocation|DisplayMatching|StorageParsing)\\.h$" EXCLUDE
    REGEX "/(EventLogging|EventRecord|EventValues)\\.h$" EXCLUDE
    REGEX "/(PerformanceCounterQueryImp|PerformanceNameTable)\\.h$" EXCLUDE
    REGEX "/(FieldText|LoadedFunction)\\.h$" EXCLUDE)
if(NOT WIN32)
    # The PC as a test describes it; journal, faults, clock and ledger.
    install(DIRECTORY simulation/machine simulation/control DESTINATION ${headers}/simulation
        FILES_MATCHING PATTERN "*.h"
        REGEX "/(Json.*|[A-Z][A-Za-z]*File|StandardNames|HandleTable)\\.h$" EXCLUDE)
    install(FILES simulation/machine/MachineFile.h DESTINATION ${headers}/simulation/machine)
endif()

install(FILES README.md DESTINATION ${document_folder})
install(DIRECTORY docs examples DESTINATION ${document_folder})

if(WIN32)
    list(TRANSFORM SYSMIRA_RUNTIME_DLLS PREPEND ${CMAKE_RUNTIME_OUTPUT_DIRECTORY}/ OUTPUT_VARIABLE dlls)
    install(FILES ${dlls} DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()
# Of what others wrote, and the programs hold or the zip brings along.
set(foreign nlohmann-json3-dev libcli11-dev)
if(WIN32)
    list(APPEND foreign gcc-mingw-w64-base mingw-w64-common)
endif()
foreach(package IN LISTS foreign)
    install(FILES /usr/share/doc/${package}/copyright DESTINATION ${document_folder}/licences RENAME ${package}.txt
        OPTIONAL)
endforeach()

set(CPACK_PACKAGE_NAME sysmira)
set(CPACK_PACKAGE_VENDOR Sysmira)
set(CPACK_VERBATIM_VARIABLES ON)
set(CPACK_STRIP_FILES ON)
if(WIN32)
    set(CPACK_GENERATOR ZIP)
    set(CPACK_SYSTEM_NAME windows-x64)
else()
    set(CPACK_GENERATOR TGZ)
    set(CPACK_SYSTEM_NAME linux-x64)
endif()
include(CPack)
