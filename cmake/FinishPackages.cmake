# Mends what CPack cannot be told: it has no field for Multi-Arch, and calls ldconfig by scripts where Debian has a
# trigger for that. Packages are built anew by dpkg-deb, which makes equal packages of equal files.

foreach(package IN LISTS CPACK_PACKAGE_FILES)
    set(root ${package}.unpacked)
    execute_process(COMMAND dpkg-deb --raw-extract ${package} ${root} COMMAND_ERROR_IS_FATAL ANY)
    file(REMOVE ${root}/DEBIAN/postinst ${root}/DEBIAN/postrm)
    file(READ ${root}/DEBIAN/control fields)
    # Files of libraries lie in a folder of their architecture, so that several may be installed; a program serves all.
    string(REGEX REPLACE "(Package: lib)" "Multi-Arch: same\n\\1" fields "${fields}")
    string(REPLACE "Package: quarlo\n" "Multi-Arch: foreign\nPackage: quarlo\n" fields "${fields}")
    # On an amd64 machine, the 32-bit C library is that of a package which i386 does not have.
    string(REPLACE libc6-i386 libc6 fields "${fields}")
    file(WRITE ${root}/DEBIAN/control "${fields}")
    execute_process(COMMAND dpkg-deb --root-owner-group --build ${root} ${package} COMMAND_ERROR_IS_FATAL ANY)
    file(REMOVE_RECURSE ${root})
endforeach()
