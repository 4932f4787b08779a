# SPDX-License-Identifier: GPL-3.0-or-later
# The libraries that the program stands on, each as one imported target.
# Their headers count as system headers: our warnings are not theirs.
find_package(PkgConfig REQUIRED)
foreach(module IN ITEMS vips libheif libraw_r exiv2 sigc++-3.0 fmt libutf8proc mount libsystemd libseccomp sqlite3 re2
                        libcrypto libavformat libavcodec libavutil libswscale)
  string(MAKE_C_IDENTIFIER "${module}" name)
  pkg_check_modules(${name} REQUIRED IMPORTED_TARGET GLOBAL "${module}")
endforeach()
find_package(SQLiteCpp REQUIRED)
find_package(date REQUIRED)
