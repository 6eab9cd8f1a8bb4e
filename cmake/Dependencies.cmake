# Everything here is a Debian 12 package; scripts/packages.txt lists them.
find_package(PkgConfig REQUIRED)
find_package(Threads REQUIRED)
find_package(OpenSSL 3.0 REQUIRED)
find_package(EXPAT REQUIRED)
pkg_check_modules(ACE REQUIRED IMPORTED_TARGET ACE>=6.5)
