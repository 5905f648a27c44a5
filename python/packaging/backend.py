"""The package's build backend: CMake builds the libraries and the extension, and the package
folder it assembles becomes a wheel. It needs nothing beyond the standard library, so that pip
installs offline (`pip install .`). VLMATHDSP_BUILD_DIR names the CMake build folder to use
(default: build-wheel in the source tree; an existing one is built as it is configured)."""

import base64
import hashlib
import os
import re
import subprocess
import sys
import sysconfig
import zipfile

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
NAME = "vlmathdsp"
SUMMARY = "Convolution, Fourier, cosine and sine transforms, filtering and network primitives over NumPy"


def version():
    """The project's version from CMakeLists.txt, to three parts."""
    with open(os.path.join(ROOT, "CMakeLists.txt"), encoding="utf-8") as f:
        match = re.search(r"project\(vlmathdsp VERSION (\d+)\.(\d+)\.(\d+)", f.read())
    return ".".join(match.groups())


def _tag():
    python = f"cp{sys.version_info.major}{sys.version_info.minor}"
    return f"{python}-{python}-{sysconfig.get_platform().replace('-', '_').replace('.', '_')}"


def _build():
    """The package folder, built: the target vlmathdsp_python is the extension, the libraries it
    loads and the Python files."""
    build = os.environ.get("VLMATHDSP_BUILD_DIR", os.path.join(ROOT, "build-wheel"))
    if not os.path.exists(os.path.join(build, "CMakeCache.txt")):
        subprocess.run(["cmake", "-S", ROOT, "-B", build, "-DCMAKE_BUILD_TYPE=Release", "-DVLMATHDSP_TESTS=OFF"],
                       check=True, stdout=sys.stderr)
    subprocess.run(["cmake", "--build", build, "--target", "vlmathdsp_python",
                    "-j", str(os.cpu_count() or 1)], check=True, stdout=sys.stderr)
    package = os.path.join(build, "python", NAME)
    if not any(f.startswith("_vlmathdsp") and f.endswith(".so") for f in os.listdir(package)):
        raise RuntimeError(f"the build in {build} made no compiled extension _vlmathdsp")
    return package


def _metadata():
    return (f"Metadata-Version: 2.1\nName: {NAME}\nVersion: {version()}\nSummary: {SUMMARY}\n"
            "Requires-Python: >=3.9\nRequires-Dist: numpy\nProvides-Extra: scipy\n"
            "Requires-Dist: scipy; extra == 'scipy'\nProvides-Extra: dask\n"
            "Requires-Dist: dask[array]; extra == 'dask'\nRequires-Dist: distributed; extra == 'dask'\n")


def _record_line(path, data):
    digest = base64.urlsafe_b64encode(hashlib.sha256(data).digest()).rstrip(b"=").decode()
    return f"{path},sha256={digest},{len(data)}"


def get_requires_for_build_wheel(config_settings=None):
    return []


def build_wheel(wheel_directory, config_settings=None, metadata_directory=None):
    package = _build()
    info = f"{NAME}-{version()}.dist-info"
    name = f"{NAME}-{version()}-{_tag()}.whl"
    entries = []
    for folder, dirs, files in os.walk(package):
        dirs[:] = sorted(d for d in dirs if d != "__pycache__")
        for f in sorted(files):
            full = os.path.join(folder, f)
            entries.append((os.path.join(NAME, os.path.relpath(full, package)), open(full, "rb").read()))
    entries.append((f"{info}/METADATA", _metadata().encode()))
    entries.append((f"{info}/WHEEL", f"Wheel-Version: 1.0\nGenerator: {NAME}-backend\nRoot-Is-Purelib: false\n"
                                     f"Tag: {_tag()}\n".encode()))
    record = [_record_line(path, data) for path, data in entries] + [f"{info}/RECORD,,"]
    entries.append((f"{info}/RECORD", ("\n".join(record) + "\n").encode()))
    with zipfile.ZipFile(os.path.join(wheel_directory, name), "w", zipfile.ZIP_DEFLATED) as wheel:
        for path, data in entries:
            wheel.writestr(zipfile.ZipInfo(path, date_time=(2020, 1, 1, 0, 0, 0)), data,
                           compress_type=zipfile.ZIP_DEFLATED)
    return name
