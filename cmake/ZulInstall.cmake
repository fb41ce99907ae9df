# What is installed, by component, and the Debian packages made of it: libzul, libzul-dev and zul-tools.
# tools/make-packages builds them.
set(ZUL_LIBDIR lib)
if(EXISTS /etc/debian_version AND CMAKE_LIBRARY_ARCHITECTURE)
  set(ZUL_LIBDIR lib/${CMAKE_LIBRARY_ARCHITECTURE})
endif()

# The module is loaded by its path: it has its own folder, apart from the libraries that programs link.
install(TARGETS zul LIBRARY DESTINATION ${ZUL_LIBDIR}/zul COMPONENT libzul)
install(FILES ${CMAKE_SOURCE_DIR}/src/include/zul.h ${CMAKE_SOURCE_DIR}/src/include/kbl_interprocess.h
        DESTINATION include COMPONENT libzul-dev)
set(zul_pc ${CMAKE_SOURCE_DIR}/packaging/zul.pc.in ${CMAKE_BINARY_DIR}/packaging/zul.pc)
install(CODE "
  set(ZUL_LIBDIR ${ZUL_LIBDIR})
  set(PROJECT_VERSION ${PROJECT_VERSION})
  configure_file(${zul_pc} @ONLY)" COMPONENT libzul-dev)
install(FILES ${CMAKE_BINARY_DIR}/packaging/zul.pc DESTINATION ${ZUL_LIBDIR}/pkgconfig COMPONENT libzul-dev)

# Pages and examples, in folders as here, so that links between them work.
function(zul_install_documents component)
  string(REPLACE tools zul-tools package ${component})
  foreach(file ${ARGN})
    cmake_path(GET file PARENT_PATH folder)
    install(FILES ${CMAKE_SOURCE_DIR}/${file} DESTINATION share/doc/${package}/${folder} COMPONENT ${component})
  endforeach()
endfunction()
zul_install_documents(libzul-dev docs/integration.md docs/protocol.md examples/host/host.c examples/host/agent.c)

# The programs, with what the build documents them by: manual pages and completions are made by the programs themselves.
set(components libzul libzul-dev)
foreach(program zulctl zul-mux zul-board)
  if(TARGET ${program})
    list(APPEND components tools)
    if(NOT COMMAND zul_install_program)
      install(TARGETS ${program} DESTINATION bin COMPONENT tools)
    endif()
  endif()
endforeach()
list(REMOVE_DUPLICATES components)
if(tools IN_LIST components)
  zul_install_documents(tools docs/tour.md docs/operating.md docs/status-page.md docs/status-page.png docs/json.md docs/protocol.md
                        tools/board/README.md tools/mux/README.md tools/mux/hotel.json tools/mux/example.json tools/mux/small.json
                        packaging/prometheus-rules.yml packaging/grafana-dashboard.json)
  # zul-board needs it; its page describes it.
  install(PROGRAMS ${CMAKE_SOURCE_DIR}/tools/sandbox DESTINATION bin RENAME zul-sandbox COMPONENT tools)
  file(WRITE ${CMAKE_BINARY_DIR}/packaging/zul-sandbox.1 ".so man1/zul-board.1\n")
  install(FILES ${CMAKE_BINARY_DIR}/packaging/zul-sandbox.1 DESTINATION share/man/man1 COMPONENT tools)
endif()
install(CODE [[
  set(root $ENV{DESTDIR}${CMAKE_INSTALL_PREFIX})
  file(GLOB pages ${root}/share/man/man1/zul*.1)
  foreach(page ${pages})
    execute_process(COMMAND gzip -9nf ${page})
  endforeach()
  # Debian's zsh has one folder for what packages bring, and another for what the machine's owner adds.
  if(CMAKE_INSTALL_PREFIX STREQUAL "/usr" AND EXISTS /etc/debian_version AND EXISTS ${root}/share/zsh/site-functions)
    file(RENAME ${root}/share/zsh/site-functions ${root}/share/zsh/vendor-completions)
  endif()]] COMPONENT tools)
foreach(component libzul tools)
  install(CODE "set(objects ${ZUL_LIBDIR}/zul/libzul.so bin/zulctl bin/zul-mux bin/zul-board)\nset(strip ${CMAKE_STRIP})" COMPONENT ${component})
  install(CODE [[
    if(CMAKE_INSTALL_DO_STRIP)
      list(TRANSFORM objects PREPEND $ENV{DESTDIR}${CMAKE_INSTALL_PREFIX}/)
      foreach(object ${objects})
        if(EXISTS ${object})
          execute_process(COMMAND ${strip} --remove-section=.comment --remove-section=.pdr ${object})
        endif()
      endforeach()
    endif()]] COMPONENT ${component})
endforeach()

execute_process(COMMAND gzip -9nc ${CMAKE_SOURCE_DIR}/packaging/changelog OUTPUT_FILE ${CMAKE_BINARY_DIR}/packaging/changelog.gz)
foreach(component ${components})
  string(REPLACE tools zul-tools package ${component})
  install(FILES ${CMAKE_SOURCE_DIR}/packaging/copyright ${CMAKE_BINARY_DIR}/packaging/changelog.gz
          DESTINATION share/doc/${package} COMPONENT ${component})
  if(EXISTS ${CMAKE_SOURCE_DIR}/packaging/${package}.lintian)
    install(FILES ${CMAKE_SOURCE_DIR}/packaging/${package}.lintian DESTINATION share/lintian/overrides RENAME ${package}
            COMPONENT ${component})
  endif()
endforeach()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME zul)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT "The libzul developers <libzul@example.org>")
set(CPACK_COMPONENTS_ALL ${components})
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)

set(CPACK_DEBIAN_LIBZUL_PACKAGE_NAME libzul)
set(CPACK_DEBIAN_LIBZUL_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_LIBZUL_DESCRIPTION "television-over-IP node for set-top boards
A module that the player process of a set-top board loads. As a transmitter
it follows an ATSC or QAM stream, keeps channel list and programme guide, and
sends programmes out as UDP multicast; as a receiver it plays such streams.")

set(CPACK_DEBIAN_LIBZUL-DEV_PACKAGE_NAME libzul-dev)
set(CPACK_DEBIAN_LIBZUL-DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_LIBZUL-DEV_PACKAGE_DEPENDS "libzul (= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_LIBZUL-DEV_DESCRIPTION "television-over-IP node for set-top boards - development files
The headers, the pkg-config file, the integration guide and examples of a host
and of a settings agent for libzul, a module that the player process of a
set-top board loads.")

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME zul-tools)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION video)
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "libzul (= ${PROJECT_VERSION}), iproute2")
set(CPACK_DEBIAN_TOOLS_PACKAGE_SUGGESTS ffmpeg)
set(CPACK_DEBIAN_TOOLS_DESCRIPTION "tools around set-top boards of a television-over-IP system
zulctl drives boards from the command line, zul-board simulates a board on a
workstation, and zul-mux makes ATSC multiplexes for it.")

if(CMAKE_CROSSCOMPILING)
  # dpkg-shlibdeps doesn't know another machine's libraries; module.needs checks what the module needs of it.
  set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE ${CMAKE_SYSTEM_PROCESSOR})
  set(CPACK_DEBIAN_LIBZUL_PACKAGE_DEPENDS "libc6 (>= 2.34), libgcc-s1 (>= 4.2), libstdc++6 (>= 12)")
else()
  set(CPACK_DEBIAN_LIBZUL_PACKAGE_SHLIBDEPS ON)
  set(CPACK_DEBIAN_TOOLS_PACKAGE_SHLIBDEPS ON)
endif()
include(CPack)
