#!/bin/sh
# Writes a Xojo plug-in package: each library goes into the Build Resources
# folder that Xojo reads for its platform, after a check that it exports
# REALPluginMain and nothing else.
#   make_package.sh OUT.xojo_plugin PLATFORM LIBRARY NM [PLATFORM LIBRARY NM ...]
set -eu
out=$1
shift
staging=$(mktemp -d)
trap 'rm -rf "$staging"' EXIT
while [ $# -ge 3 ]; do
  platform=$1 library=$2 nm=$3
  shift 3
  exports=$("$nm" -D --defined-only "$library" | awk 'NF == 3 { print $3 }' | sort -u | tr '\n' ' ')
  if [ "$exports" != "REALPluginMain " ]; then
    echo "package: $library exports: $exports(REALPluginMain alone expected)" >&2
    exit 1
  fi
  mkdir -p "$staging/PictureQVL/Build Resources/$platform"
  cp "$library" "$staging/PictureQVL/Build Resources/$platform/"
done
rm -f "$out"
(cd "$staging" && zip -qr "$out" PictureQVL)
echo "Package written to $out"
