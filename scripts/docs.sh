#!/usr/bin/env bash
# Set-up and build, then the documentation site into build/docs/html (Sphinx with numpydoc,
# sphinx-gallery, matplotlib and Breathe over Doxygen, all from Debian), every warning an error;
# then headless Chromium opens its pages and checks that each renders.
set -euo pipefail
cd "$(dirname "$0")/.."
VLMATHDSP_EXTRA_PACKAGES="python3-sphinx python3-numpydoc python3-sphinx-gallery python3-matplotlib furo doxygen
  python3-breathe chromium chromium-driver fonts-liberation python3-selenium python3-pil ${VLMATHDSP_EXTRA_PACKAGES:-}" \
  bash scripts/setup.sh
rm -rf build/docs docs/api/generated docs/auto_examples
VLMATHDSP_PACKAGE_PATH="$PWD/build/python" MPLBACKEND=Agg \
  /usr/bin/python3 -m sphinx -W -n --keep-going -q -b html -d build/docs/doctrees docs build/docs/html
/usr/bin/python3 tests/docs/check_site.py build/docs/html
echo "docs: build/docs/html/index.html"
