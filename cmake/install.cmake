# cmake/install.cmake: what `cmake --install` lays out, for people who use the library without building it.
#
#   lib/        libvnr_32.so.1.0.0 with its links libvnr_32.so.1 (SONAME) and libvnr_32.so, and libGetInfo.so
#               beside it, where the library looks for its photo decoder when the loader's search finds none;
#               Windows: the import library libvnr_32.dll.a and vnr_32.def (the DLLs go to bin/)
#   lib/cmake/vnr32/         find_package(vnr32) gives the imported targets vnr32::vnr_32 and vnr32::vnr_emv
#   lib/pkgconfig/vnr_32.pc  pkg-config --cflags --libs vnr_32
#   include/    vnr_32.h, vnr_emv.h (with libvnr_emv.so.1 in lib/, the complete EMV read, and vnr_emv.pc)
#   bin/        vnr, vnr-sim (Linux), vnr.exe, vnr_32.dll and GetInfo.dll (Windows)
#   lib/udev/rules.d/70-vnr32.rules   access to a USB reader for the user at the seat (VNR_UDEV_RULES_DIR)
#   share/man/  vnr(1), vnr-sim(1), vnr_32(3) (doc/)
#   share/vnr_32/decks/      the simulator's decks
include(CMakePackageConfigHelpers)

set(VNR_UDEV_RULES_DIR "lib/udev/rules.d" CACHE STRING
    "Where the udev rule goes, relative to the prefix or absolute (udev reads /etc/udev/rules.d and <prefix>/lib/udev/rules.d)")
set(VNR_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/vnr32)

# Programs find the library of their own prefix, wherever it was installed; a prefix whose library folder the
# loader searches anyway (/usr) needs no search path written into them.
list(FIND CMAKE_C_IMPLICIT_LINK_DIRECTORIES "${CMAKE_INSTALL_FULL_LIBDIR}" vnr_system_libdir)
if(NOT WIN32 AND vnr_system_libdir EQUAL -1)
  file(RELATIVE_PATH vnr_bin_to_lib ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})
  set_target_properties(vnr PROPERTIES INSTALL_RPATH "$ORIGIN/${vnr_bin_to_lib}")
endif()

install(TARGETS vnr_32 EXPORT vnr32Targets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
        RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(FILES ${PROJECT_SOURCE_DIR}/include/vnr_32.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
# The complete EMV read of bank cards, a library of its own on vnr_32 (vnr32::vnr_emv, vnr_emv.pc).
if(TARGET vnr_emv)
  install(TARGETS vnr_emv EXPORT vnr32Targets
          LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
          RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
          ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
  install(FILES ${PROJECT_SOURCE_DIR}/include/vnr_emv.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
endif()
if(TARGET GetInfo)
  install(TARGETS GetInfo LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
          ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
endif()
install(TARGETS vnr RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
if(WIN32)
  install(FILES ${PROJECT_BINARY_DIR}/src/vnr_32.def DESTINATION ${CMAKE_INSTALL_LIBDIR})
else()
  install(TARGETS vnr-sim RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
  install(FILES ${PROJECT_SOURCE_DIR}/packaging/70-vnr32.rules DESTINATION ${VNR_UDEV_RULES_DIR})
  install(DIRECTORY ${PROJECT_SOURCE_DIR}/decks/ DESTINATION ${CMAKE_INSTALL_DATADIR}/vnr_32/decks)
endif()

# The CMake package: relocatable, it finds the library beside itself.
install(EXPORT vnr32Targets NAMESPACE vnr32:: DESTINATION ${VNR_CMAKE_DIR})
configure_package_config_file(${PROJECT_SOURCE_DIR}/packaging/vnr32Config.cmake.in
                              ${PROJECT_BINARY_DIR}/vnr32Config.cmake INSTALL_DESTINATION ${VNR_CMAKE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/vnr32ConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/vnr32Config.cmake ${PROJECT_BINARY_DIR}/vnr32ConfigVersion.cmake
        DESTINATION ${VNR_CMAKE_DIR})

# The pkg-config file names the prefix it is installed under, which `cmake --install --prefix` and CPack
# choose only at install time: it is written then.
install(CODE "
  set(VNR_PC_PREFIX \"\${CMAKE_INSTALL_PREFIX}\")
  set(VNR_PC_LIBDIR \"${CMAKE_INSTALL_LIBDIR}\")
  set(VNR_PC_INCLUDEDIR \"${CMAKE_INSTALL_INCLUDEDIR}\")
  set(PROJECT_VERSION \"${PROJECT_VERSION}\")
  configure_file(\"${PROJECT_SOURCE_DIR}/packaging/vnr_32.pc.in\" \"${PROJECT_BINARY_DIR}/vnr_32.pc\" @ONLY)
  configure_file(\"${PROJECT_SOURCE_DIR}/packaging/vnr_emv.pc.in\" \"${PROJECT_BINARY_DIR}/vnr_emv.pc\" @ONLY)")
install(FILES ${PROJECT_BINARY_DIR}/vnr_32.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
if(TARGET vnr_emv)
  install(FILES ${PROJECT_BINARY_DIR}/vnr_emv.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endif()

add_subdirectory(${PROJECT_SOURCE_DIR}/doc ${PROJECT_BINARY_DIR}/doc)
