# Libraries from the system's packages; scripts/packages.sh lists the packages.

find_package(PkgConfig REQUIRED)
find_package(Threads REQUIRED)
find_package(OpenSSL REQUIRED)
find_package(Boost 1.81 EXACT REQUIRED)
find_package(spdlog REQUIRED)

pkg_check_modules(SQLITE REQUIRED IMPORTED_TARGET sqlite3)
pkg_check_modules(JSONCPP REQUIRED IMPORTED_TARGET jsoncpp)
pkg_check_modules(CURL REQUIRED IMPORTED_TARGET libcurl)
pkg_check_modules(ICU REQUIRED IMPORTED_TARGET icu-i18n icu-uc)
pkg_check_modules(VIPS REQUIRED IMPORTED_TARGET vips)
pkg_check_modules(EXIF REQUIRED IMPORTED_TARGET libexif)
pkg_check_modules(RAW REQUIRED IMPORTED_TARGET libraw)
pkg_check_modules(FFMPEG REQUIRED IMPORTED_TARGET libavformat libavcodec libswscale libavutil)
pkg_check_modules(SODIUM REQUIRED IMPORTED_TARGET libsodium)

if(ZENTARA_TESTS)
  find_package(GTest REQUIRED)
endif()
if(ZENTARA_BENCHMARKS)
  find_package(benchmark REQUIRED)
endif()
