# Everything comes from the distribution; scripts/install-deps installs it on Debian.
find_package(PkgConfig REQUIRED)
find_package(Threads REQUIRED)
find_package(Boost 1.74 REQUIRED COMPONENTS system filesystem thread serialization iostreams)
find_package(spdlog REQUIRED)
find_package(CLI11 REQUIRED)
find_package(pugixml REQUIRED)
find_package(ZLIB REQUIRED)
pkg_check_modules(JSONCPP REQUIRED IMPORTED_TARGET jsoncpp)
pkg_check_modules(SODIUM REQUIRED IMPORTED_TARGET libsodium)
pkg_check_modules(CAIRO REQUIRED IMPORTED_TARGET cairo)

find_program(FLATC flatc REQUIRED)
find_path(FLATBUFFERS_INCLUDE_DIR flatbuffers/flatbuffers.h REQUIRED)
