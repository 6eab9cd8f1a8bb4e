# shellcheck shell=bash
# The parts that a release consists of; sourced by scripts/release, after scripts/lib.sh.

VERSION=$(sed -nE 's/^project\(nbiutil VERSION ([0-9.]+) .*/\1/p' "$PROJECT_DIR/CMakeLists.txt")
SOURCE_NAME=nbiutil-$VERSION

# source_archive FILE: the source, as git has it; what is changed and not committed is in it, too. The same source gives
# the same bytes.
source_archive() {
    local commit
    commit=$(git -C "$PROJECT_DIR" stash create) && commit=${commit:-$(git -C "$PROJECT_DIR" rev-parse HEAD)} || return 1
    git -C "$PROJECT_DIR" archive --prefix="$SOURCE_NAME/" "$commit" |
        gzip -n9 >"$1"
}

# debian_packages ARCHIVE FOLDER: packages, their source package and the tree that they were built in.
debian_packages() {
    rm -rf "$2"
    mkdir -p "$2"
    cp "$1" "$2/nbiutil_$VERSION.orig.tar.gz"
    tar -xf "$1" -C "$2"
    cp -r "$2/$SOURCE_NAME/packaging/debian" "$2/$SOURCE_NAME/debian"
    # The compiler's cache, where there is one, is not below the home that the build gets.
    (cd "$2/$SOURCE_NAME" && CCACHE_DIR=${CCACHE_DIR:-$(ccache -k cache_dir 2>/dev/null)} \
        DEB_BUILD_OPTIONS="nocheck parallel=$JOBS" dpkg-buildpackage -us -uc)
}

# other_archive BUILD FOLDER: programs and library for systems without these packages, to be unpacked anywhere.
other_archive() {
    (cd "$1" && cpack -G TGZ -B "$2" && rm -rf "$2/_CPack_Packages")
}

# libraries_of FILE...: the sonames that the files ask for, but for each other's and the loader's, which is the C library's.
libraries_of() {
    readelf -d "$@" | sed -nE 's/.*\(NEEDED\).*\[(.*)\]/\1/p' | sort -u | grep -vE '^(lib(nbiutil|nbiutil_testing|nbihost_standalone)|ld-linux.*)\.so'
}

# package_of FILE: packages may know it by a name from before /lib became a link.
package_of() {
    local file=${1#/usr}
    dpkg-query -S "$(realpath "$1")" "/usr$file" "$file" 2>/dev/null | cut -d : -f 1 | head -n 1
}

# bill_entry PACKAGE FILE RELATIONSHIP: a package of this machine, in the version that is installed.
bill_entry() {
    local package=$1 id=SPDXRef-${2//[^A-Za-z0-9.-]/-} version
    version=$(dpkg-query -W -f '${Version}' "$package" 2>/dev/null | head -n 1)
    [ -n "$package" ] && [ -n "$version" ] || { echo "$2: no package has it" >&2; return 1; }
    cat <<END

PackageName: $package
SPDXID: $id
PackageVersion: $version
PackageFileName: $2
PackageSupplier: Organization: Debian
PackageDownloadLocation: NOASSERTION
FilesAnalyzed: false
PackageLicenseConcluded: NOASSERTION
PackageLicenseDeclared: NOASSERTION
PackageCopyrightText: NOASSERTION
ExternalRef: PACKAGE-MANAGER purl pkg:deb/debian/$package@$version
Relationship: SPDXRef-nbiutil $3 $id
END
}

# Libraries that are headers alone: their code is in ours.
HEADER_LIBRARIES="libsimpleini-dev libcli11-dev"

# delivered BUILD: sets DELIVERED to the libraries and programs that others get.
delivered() {
    DELIVERED=("$1/libnbiutil.so" "$1/host/standalone/libnbihost_standalone.so" "$1/host/recording/libnbiutil_testing.so"
        "$1/examples/northbound/nbi-server" "$1/examples/northbound/nbi-client"
        "$1/examples/northbound/nbi-book.so")
}

# bill_of_materials BUILD FILE: an SPDX document of what is delivered and what it is linked with, in the versions that
# it was built and tried with here.
bill_of_materials() {
    local soname path package
    delivered "$1"
    {
        cat <<END
SPDXVersion: SPDX-2.3
DataLicense: CC0-1.0
SPDXID: SPDXRef-DOCUMENT
DocumentName: $SOURCE_NAME
DocumentNamespace: urn:nbiutil:$VERSION:$(sha256sum "${DELIVERED[@]}" | sha256sum | cut -c 1-32)
Creator: Organization: The nbiutil maintainers
Creator: Tool: scripts/release
Created: $(date -u -d "$(git -C "$PROJECT_DIR" log -1 --format=%cI)" +%Y-%m-%dT%H:%M:%SZ)
Relationship: SPDXRef-DOCUMENT DESCRIBES SPDXRef-nbiutil

PackageName: nbiutil
SPDXID: SPDXRef-nbiutil
PackageVersion: $VERSION
PackageSupplier: Organization: The nbiutil maintainers
PackageDownloadLocation: NOASSERTION
FilesAnalyzed: false
PackageLicenseConcluded: Apache-2.0
PackageLicenseDeclared: Apache-2.0
PackageCopyrightText: 2026 The nbiutil maintainers
END
        for soname in $(libraries_of "${DELIVERED[@]}"); do
            path=$(ldd "${DELIVERED[@]}" | awk -v so="$soname" '$1 == so { print $3; exit }')
            bill_entry "$(package_of "$path")" "$soname" DYNAMIC_LINK || return 1
        done
        for package in $HEADER_LIBRARIES; do bill_entry "$package" "$package" STATIC_LINK || return 1; done
    } >"$2"
}

# release_notes FILE: the newest part of the change log.
release_notes() {
    {
        printf '# nbiutil %s\n' "$VERSION"
        awk '/^## / { if (inside) exit; inside = 1; next } inside' "$PROJECT_DIR/CHANGELOG.md"
    } >"$1"
    [ "$(wc -l <"$1")" -gt 3 ]
}

# hashes FOLDER: of everything in it.
hashes() {
    local found
    found=$(cd "$1" && find . -maxdepth 1 -type f ! -name SHA256SUMS -printf '%P\0' | sort -z | xargs -0 sha256sum) &&
        printf '%s\n' "$found" >"$1/SHA256SUMS"
}
