# Everything here is a Debian 12 package; scripts/packages.txt lists them.
# GLOBAL: programs of a project around this one link the library, and with it these two.
find_package(PkgConfig REQUIRED)
find_package(Threads REQUIRED GLOBAL)
find_package(OpenSSL 3.0 REQUIRED)
find_package(EXPAT REQUIRED)
pkg_check_modules(ACE REQUIRED IMPORTED_TARGET GLOBAL ACE>=6.5)
