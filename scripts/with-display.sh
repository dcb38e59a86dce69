#!/usr/bin/env bash
# Runs a command with an X display: the caller's own, else a virtual one from xvfb-run, else none
# (rendering tests then skip themselves).
set -euo pipefail
if [ -z "${DISPLAY:-}" ] && command -v xvfb-run >/dev/null 2>&1; then
  exec xvfb-run -a -s "-screen 0 1280x1024x24 -noreset" "$@"
fi
exec "$@"
