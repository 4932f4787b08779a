# SPDX-License-Identifier: GPL-3.0-or-later
# subsystem(NAME [SOURCES file...] [USES target...] [LIBRARIES target...])
#
# Adds the static library of one directory. USES names the subsystems whose
# headers it includes, LIBRARIES the foreign libraries that stay behind its
# .cpp files. Without SOURCES, all .cpp files of the directory belong to it.
function(subsystem name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SOURCES;USES;LIBRARIES")
  if(NOT arg_SOURCES)
    file(GLOB arg_SOURCES CONFIGURE_DEPENDS "*.cpp")
  endif()
  add_library(${name} STATIC ${arg_SOURCES})
  target_link_libraries(${name} PUBLIC flags ${arg_USES} PRIVATE ${arg_LIBRARIES})
endfunction()
