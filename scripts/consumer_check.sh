#!/usr/bin/env bash
# Proves that the installed library serves a user's program as a package:
#  1. installs build/ into a temporary prefix, builds examples/consumer/main.c
#     against it once through pkg-config and once through find_package, and
#     runs both on the bundled sample invoice;
#  2. builds the Debian package in build-deb/ (configured for /usr), reads its
#     control data and file list, and builds and runs the consumer against the
#     package's unpacked contents.
# Nothing is installed on the machine itself.
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/setup.sh

sample=$PWD/samples/sample-invoice.pdf
version=$(sed -n 's/^#define INVOICE_EXTRACT_VERSION_STRING "\(.*\)"$/\1/p' include/invoice_extract.h)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() {
  echo "consumer check: FAILED: $*" >&2
  exit 1
}
contains() { [[ "$1" == *"$2"* ]]; }

# The program must load libinvoice_extract.so.1 from below $2, not from the
# build tree or a copy installed elsewhere.
expect_library_from() {
  local libraries
  libraries=$(ldd "$1")
  contains "$libraries" "libinvoice_extract.so.1 => $2/" || fail "$1 does not load the library from $2: $libraries"
}

# Builds the consumer through find_package with $2 as CMAKE_PREFIX_PATH into
# folder $1, and checks that the package came from below $2.
build_with_cmake() {
  cmake -S examples/consumer -B "$1" -DCMAKE_PREFIX_PATH="$2" -DCMAKE_BUILD_TYPE=Release >/dev/null
  cmake --build "$1" >/dev/null
  local package_dir
  package_dir=$(sed -n 's/^invoice_extract_DIR:PATH=//p' "$1/CMakeCache.txt")
  contains "$package_dir" "$2/" || fail "find_package used $package_dir, not the package below $2"
}

# --- 1. cmake --install into a temporary prefix ---------------------------------
cmake -S . -B build -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build build -j"$(nproc)" >/dev/null
prefix=$work/prefix
cmake --install build --prefix "$prefix" >/dev/null
libdir=$(sed -n 's/^CMAKE_INSTALL_LIBDIR:PATH=//p' build/CMakeCache.txt)

for file in "$libdir/libinvoice_extract.so.$version" include/invoice_extract.h "$libdir/pkgconfig/invoice_extract.pc" \
  "$libdir/cmake/invoice_extract/invoice_extractConfig.cmake" \
  "$libdir/cmake/invoice_extract/invoice_extractConfigVersion.cmake"; do
  [ -f "$prefix/$file" ] || fail "not installed: $file"
done
[ "$(readlink "$prefix/$libdir/libinvoice_extract.so.1")" = "libinvoice_extract.so.$version" ] ||
  fail "libinvoice_extract.so.1 is not a link to libinvoice_extract.so.$version"
[ "$(readlink "$prefix/$libdir/libinvoice_extract.so")" = libinvoice_extract.so.1 ] ||
  fail "libinvoice_extract.so is not a link to libinvoice_extract.so.1"

# Through pkg-config, with the strictest C the header must accept.
export PKG_CONFIG_PATH=$prefix/$libdir/pkgconfig
[ "$(pkg-config --modversion invoice_extract)" = "$version" ] || fail "pkg-config gives no version $version"
read -r -a cflags <<<"$(pkg-config --cflags invoice_extract)"
read -r -a libs <<<"$(pkg-config --libs invoice_extract)"
cc -std=c99 -Wall -Wextra -pedantic -Werror "${cflags[@]}" examples/consumer/main.c -o "$work/consumer-pkgconfig" \
  "${libs[@]}" -Wl,-rpath,"$(pkg-config --variable=libdir invoice_extract)"
unset PKG_CONFIG_PATH
expect_library_from "$work/consumer-pkgconfig" "$prefix"
"$work/consumer-pkgconfig" "$sample" "$work/pkgconfig.xml" || fail "the pkg-config build of the consumer failed"

# Through find_package and the imported target.
build_with_cmake "$work/consumer-cmake" "$prefix"
expect_library_from "$work/consumer-cmake/consumer" "$prefix"
"$work/consumer-cmake/consumer" "$sample" "$work/cmake.xml" || fail "the find_package build of the consumer failed"
cmp -s "$work/pkgconfig.xml" "$work/cmake.xml" || fail "the two consumers wrote different XML"

# --- 2. the Debian package --------------------------------------------------------
cmake -S . -B build-deb -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_INSTALL_PREFIX=/usr -DINVOICE_EXTRACT_TESTS=OFF \
  >/dev/null
cmake --build build-deb -j"$(nproc)" >/dev/null
rm -f build-deb/invoice-extract_*.deb
(cd build-deb && cpack -G DEB >/dev/null)
debs=(build-deb/invoice-extract_*.deb)
[ "${#debs[@]}" -eq 1 ] && [ -f "${debs[0]}" ] || fail "cpack made no single invoice-extract .deb"
deb=${debs[0]}

control=$(dpkg-deb -f "$deb")
depends=$(dpkg-deb -f "$deb" Depends)
depended=$(tr ',' '\n' <<<"$depends" | awk '{print $1}')
for package in libc6 libexempi8 libstdc++6 zlib1g; do
  grep -qx "$package" <<<"$depended" || fail "Depends lacks $package: $depends"
done
contains "$control" "Version: $version" || fail "package version is not $version: $control"
[ "$(dpkg-deb -I "$deb" shlibs)" = "libinvoice_extract 1 invoice-extract (>= $version)" ] ||
  fail "the package has no shlibs entry for libinvoice_extract.so.1"
contains "$(dpkg-deb -I "$deb" postinst)" ldconfig || fail "the package does not run ldconfig on installation"

deb_libdir=$(sed -n 's/^CMAKE_INSTALL_LIBDIR:PATH=//p' build-deb/CMakeCache.txt)
listing=$(dpkg-deb -c "$deb")
for entry in "./usr/$deb_libdir/libinvoice_extract.so.$version" \
  "./usr/$deb_libdir/libinvoice_extract.so.1 -> libinvoice_extract.so.$version" \
  "./usr/$deb_libdir/libinvoice_extract.so -> libinvoice_extract.so.1" ./usr/include/invoice_extract.h \
  "./usr/$deb_libdir/pkgconfig/invoice_extract.pc" "./usr/$deb_libdir/cmake/invoice_extract/invoice_extractConfig.cmake" \
  ./usr/share/doc/invoice_extract/LICENSE ./usr/lib/python3/dist-packages/invoice_extract/__init__.py; do
  contains "$listing" "$entry" || fail "the package lacks $entry"
done

unpacked=$work/deb
dpkg-deb -x "$deb" "$unpacked"
soname=$(readelf -d "$unpacked/usr/$deb_libdir/libinvoice_extract.so.$version")
contains "$soname" "Library soname: [libinvoice_extract.so.1]" || fail "the packaged library has no SONAME .so.1"
grep -qx 'prefix=/usr' "$unpacked/usr/$deb_libdir/pkgconfig/invoice_extract.pc" ||
  fail "the packaged pkg-config file does not name /usr"
build_with_cmake "$work/consumer-deb" "$unpacked/usr"
expect_library_from "$work/consumer-deb/consumer" "$unpacked/usr"
"$work/consumer-deb/consumer" "$sample" "$work/deb.xml" || fail "the consumer built on the package's files failed"
cmp -s "$work/cmake.xml" "$work/deb.xml" || fail "the package's library wrote different XML"
# The package's Python module loads the package's library, found beside it.
python_result=$(PYTHONPATH=$unpacked/usr/lib/python3/dist-packages /usr/bin/python3 -c \
  'import invoice_extract, sys; print(invoice_extract.extract(sys.argv[1]) == open(sys.argv[2], "rb").read())' \
  "$sample" "$work/deb.xml")
[ "$python_result" = True ] || fail "the package's Python module gives other XML: $python_result"

echo "consumer check: install, pkg-config, find_package and $(basename "$deb") all good"
echo "$depends" | sed 's/^/consumer check: Depends: /'
