#!/usr/bin/env bash
# Builds the Debian package from a built tree and checks what a user gets from it and
# from `cmake --install`: exactly the two programs, the example models, the desktop
# entry and its icons; the libraries and the font it depends on; and a runner that
# works from where it was installed and prints what the one in the build folder does.
# Everything happens in a temporary folder; the build folder gets only the
# install_manifest.txt that `cmake --install` always writes there.
#
# Usage: check-package.sh BUILD_DIR SOURCE_DIR [CPACK [CMAKE]]
set -euo pipefail

build=$(cd "$1" && pwd)
source=$(cd "$2" && pwd)
cpack=${3:-cpack}
cmake=${4:-cmake}

for tool in dpkg-deb dpkg-shlibdeps; do
  if ! command -v "$tool" >/dev/null; then
    echo "check-package: $tool is missing (scripts/install-deps installs it)" >&2
    exit 1
  fi
done

work=$(mktemp -d "${TMPDIR:-/tmp}/quillane-package.XXXXXX")
trap 'rm -rf "$work"' EXIT
cd "$work"

failures=0
fail() {
  echo "FAIL: $*" >&2
  failures=$((failures + 1))
}

# What an install holds, relative to its prefix.
{
  echo bin/quillane
  echo bin/quillane-cli
  echo share/applications/quillane.desktop
  echo share/icons/hicolor/scalable/apps/quillane.svg
  echo share/icons/hicolor/48x48/apps/quillane.png
  echo share/icons/hicolor/128x128/apps/quillane.png
  echo share/quillane/examples/README.md
  for model in "$source"/examples/*.model; do
    echo "share/quillane/examples/$(basename "$model")"
  done
} | sort >expected.txt

# compare NAME LIST: the files of LIST against expected.txt.
compare() {
  if ! diff -u expected.txt "$2" >"$1.diff"; then
    fail "$1 does not hold what an install should (- missing, + unexpected):"
    cat "$1.diff" >&2
  fi
}

# runs NAME CLI EXAMPLES: the cantilever example for three steps, as the build's runner.
runs() {
  local status=0
  "$2" run "$3/cantilever.model" --steps 3 >"$1.out" 2>&1 || status=$?
  if [ "$status" -ne 0 ]; then
    fail "$1: quillane-cli exited with $status:"
    cat "$1.out" >&2
  elif ! grep -q '^final' "$1.out"; then
    fail "$1: quillane-cli printed no line starting \"final\":"
    cat "$1.out" >&2
  elif ! cmp -s reference.out "$1.out"; then
    fail "$1: quillane-cli printed other results than the build's:"
    diff -u reference.out "$1.out" >&2 || true
  fi
}

"$build/bin/quillane-cli" run "$source/examples/cantilever.model" --steps 3 >reference.out 2>&1

# The package, built apart from the one `make package` leaves in the build folder.
if ! "$cpack" -G DEB --config "$build/CPackConfig.cmake" -B "$work/out" >cpack.log 2>&1; then
  cat cpack.log >&2
  echo "check-package: cpack failed" >&2
  exit 1
fi
debs=(out/quillane_*.deb)
if [ "${#debs[@]}" -ne 1 ] || [ ! -f "${debs[0]}" ]; then
  echo "check-package: cpack made no single quillane_*.deb: ${debs[*]}" >&2
  exit 1
fi
deb=${debs[0]}
echo "package: $(basename "$deb")"

# Its files (directories aside), all under /usr.
dpkg-deb -c "$deb" | awk '$1 !~ /^d/ { print $6 }' | sort >deb-all.txt
if grep -v '^\./usr/' deb-all.txt >outside.txt; then
  fail "files outside /usr: $(tr '\n' ' ' <outside.txt)"
fi
sed -n 's|^\./usr/||p' deb-all.txt >deb.txt
compare package deb.txt

depends=$(dpkg-deb -f "$deb" Depends)
echo "Depends: $depends"
for dependency in libqt6core6 libqt6gui6 libqt6widgets6 libqt6svg6 libdxflib3 fonts-ipafont-gothic; do
  if ! grep -Eq "(^|, )$dependency( |,|$)" <<<"$depends"; then
    fail "the package does not depend on $dependency"
  fi
done

# Unpacked as a user would find it (no root needed).
dpkg-deb -x "$deb" root
desktop=root/usr/share/applications/quillane.desktop
grep -qx 'Exec=quillane' "$desktop" || fail "the desktop entry does not start quillane"
grep -qx 'Icon=quillane' "$desktop" || fail "the desktop entry does not name the icon"
if command -v desktop-file-validate >/dev/null && ! desktop-file-validate "$desktop"; then
  fail "the desktop entry does not validate"
fi
for program in quillane quillane-cli; do
  if ldd "root/usr/bin/$program" | grep 'not found'; then
    fail "$program needs libraries that are not there"
  fi
done
runs package root/usr/bin/quillane-cli root/usr/share/quillane/examples

# `cmake --install` to a prefix of one's own.
"$cmake" --install "$build" --prefix "$work/prefix" >install.log
(cd prefix && find . ! -type d | sed 's|^\./||' | sort) >prefix.txt
compare install prefix.txt
runs install prefix/bin/quillane-cli prefix/share/quillane/examples

if [ "$failures" -ne 0 ]; then
  echo "check-package: $failures check(s) failed" >&2
  exit 1
fi
echo "check-package: the package and the install hold and run what they should"
