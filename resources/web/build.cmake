# SPDX-License-Identifier: GPL-3.0-or-later
# Puts the page together:
#
#   cmake -DOUT=folder [-DCHARTS=chart.min.js] -P resources/web/build.cmake
#
# index.html and styles.css are copied, the sections of the script become one
# app.js with the world's outlines in it, and the chart library gets the name
# under which it is served.
cmake_minimum_required(VERSION 3.25)

if(NOT DEFINED OUT)
  message(FATAL_ERROR "Say where the page goes, with -DOUT=folder")
endif()
if(NOT DEFINED CHARTS)
  set(CHARTS /usr/share/javascript/chart.js/chart.min.js)
endif()
set(page "${CMAKE_CURRENT_LIST_DIR}")

set(sections
    texts document state server thumbnails listings finder tile gallery filters
    details slide lightbox statistics colours outlines earth clusters map application)

set(script "// SPDX-License-Identifier: GPL-3.0-or-later\n")
foreach(section IN LISTS sections)
  file(READ "${page}/app/${section}.js" text)
  string(REPLACE "// SPDX-License-Identifier: GPL-3.0-or-later\n" "" text "${text}")
  string(APPEND script "\n// ---- ${section}\n${text}")
endforeach()

file(READ "${page}/outlines/world.json" outlines)
string(STRIP "${outlines}" outlines)
string(REPLACE "'@WORLD_OUTLINES@'" "${outlines}" script "${script}")

file(WRITE "${OUT}/app.js" "${script}")
file(COPY_FILE "${page}/index.html" "${OUT}/index.html")
file(COPY_FILE "${page}/styles.css" "${OUT}/styles.css")
file(MAKE_DIRECTORY "${OUT}/vendor")
file(COPY_FILE "${CHARTS}" "${OUT}/vendor/chart.umd.min.js")
