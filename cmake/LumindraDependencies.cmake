# Every external dependency is found here, once, so targets only name imported targets.
set(CMAKE_AUTOMOC ON)
set(CMAKE_AUTORCC ON)

find_package(Qt5 5.15 REQUIRED COMPONENTS Core Gui Widgets Test)
find_package(PkgConfig REQUIRED)
pkg_check_modules(VIPS REQUIRED IMPORTED_TARGET vips-cpp>=8.14)
pkg_check_modules(EXIV2 REQUIRED IMPORTED_TARGET exiv2>=0.27)
find_package(glog 0.6 REQUIRED)
find_package(Boost 1.74 REQUIRED)
# property_tree's JSON parser includes the old bind header, which warns on every file otherwise.
add_compile_definitions(BOOST_BIND_GLOBAL_PLACEHOLDERS)
find_package(Threads REQUIRED)

if(LUMINDRA_BUILD_TESTS)
  find_package(GTest REQUIRED)
endif()
if(LUMINDRA_BUILD_BENCH)
  find_package(benchmark QUIET)
endif()

if(LUMINDRA_SANITIZE)
  add_compile_options(-fsanitize=address,undefined -fno-omit-frame-pointer -fno-sanitize-recover=undefined)
  add_link_options(-fsanitize=address,undefined)
endif()
