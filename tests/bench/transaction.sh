#!/usr/bin/env bash
# The program's commands on the standard target as one would write them in a shell, with the same
# checks and flushes.
#   transaction.sh COMMAND BUNDLE PLUGINS_FOLDER
set -eu
command=$1 bundle=$2 plugins=$3
files=(bin/64bit/k7k-obs-audio.dll data/locale/{en-US,zh-TW,zh-CN,ja-JP,ko-KR}.ini)
plugin=$plugins/k7k-obs-audio backup=$plugins/shell-backup

# The manifest's first four lines are no digests.
check() { (cd "$1" && tail -n +5 manifest.sha256 | sha256sum --check --strict --quiet -); }

digests() { (cd "$1" && sha256sum "${files[@]}"); }

case $command in
--status-bundled) check "$bundle" ;;
--write-bundled-manifest)
  cd "$bundle"
  { head -n 4 manifest.sha256 && sha256sum "${files[@]}"; } >manifest.new
  mv manifest.new manifest.sha256
  ;;
--status-standard)
  check "$plugin"
  check "$bundle"
  [ "$(digests "$bundle")" = "$(digests "$plugin")" ]
  ;;
--install-standard)
  staging=$plugins/shell-staging
  check "$bundle"
  cp -r "$bundle" "$staging"
  find "$staging" -depth -exec sync {} +
  check "$staging"
  mv "$plugin" "$backup"
  mv "$staging" "$plugin"
  check "$plugin"
  sync "$plugins" "$plugin/${files[0]}"
  rm -r "$backup"
  ;;
--remove-standard)
  mv "$plugin" "$backup"
  sync "$plugins" "$backup/${files[0]}"
  rm -r "$backup"
  ;;
*) exit 64 ;;
esac
