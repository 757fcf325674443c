"""Builds the Python module from the library's sources: what pip calls (PEP 517). Needs CMake and a C++ compiler only."""

import base64
import hashlib
import os
import pathlib
import re
import shlex
import subprocess
import sysconfig
import tarfile
import tempfile
import zipfile

PYTHON = pathlib.Path(__file__).resolve().parent
ROOT = PYTHON.parent
SOURCES = ("include", "src", "platform", "demux", "describe", "cmake", "python", "CMakeLists.txt", "pyproject.toml", "LICENSE")

METADATA = """\
Metadata-Version: 2.1
Name: psi
Version: {version}
Summary: Tables of an MPEG-2 transport stream: sections from files and live streams, as JSON and back bit for bit
License: MIT
Requires-Python: >=3.8
Classifier: Operating System :: POSIX :: Linux
Classifier: Programming Language :: Python :: 3
Classifier: Topic :: Multimedia :: Video
Classifier: Typing :: Typed
Description-Content-Type: text/markdown

{description}"""


def _version() -> str:
    header = (ROOT / "include" / "psi.h").read_text()
    return ".".join(re.search(rf"#define PSI_VERSION_{part} +(\d+)", header)[1] for part in ("MAJOR", "MINOR", "PATCH"))


def _metadata() -> bytes:
    return METADATA.format(version=_version(), description=(PYTHON / "README.md").read_text()).encode()


def _library(folder: str) -> pathlib.Path:
    settings = ("CMAKE_BUILD_TYPE=Release", "CMAKE_CXX_FLAGS_RELEASE=-O2 -DNDEBUG", "CMAKE_POSITION_INDEPENDENT_CODE=ON", "PSI_BUILD_PYTHON=ON", "PSI_BUILD_TOOLS=OFF",
                "PSI_BUILD_TESTS=OFF", "PSI_INSTALL=OFF", "PSI_PCAP=OFF")
    given = shlex.split(os.environ.get("CMAKE_ARGS", ""))
    subprocess.run(["cmake", "-S", os.fspath(ROOT), "-B", folder, *(f"-D{one}" for one in settings), *given], check=True)
    subprocess.run(["cmake", "--build", folder, "--target", "psi_python", "-j", str(os.cpu_count() or 1)], check=True)
    return pathlib.Path(folder) / "python" / "_psi.so"


class _Wheel:
    def __init__(self, path: pathlib.Path, info: str) -> None:
        self.archive = zipfile.ZipFile(path, "w", zipfile.ZIP_DEFLATED)
        self.info = info
        self.record = []

    def add(self, name: str, content: bytes) -> None:
        entry = zipfile.ZipInfo(name)
        entry.external_attr = 0o644 << 16
        entry.compress_type = zipfile.ZIP_DEFLATED
        self.archive.writestr(entry, content)
        digest = base64.urlsafe_b64encode(hashlib.sha256(content).digest()).rstrip(b"=").decode()
        self.record.append(f"{name},sha256={digest},{len(content)}")

    def close(self) -> None:
        name = f"{self.info}/RECORD"
        self.archive.writestr(name, "\n".join(self.record + [f"{name},,", ""]))
        self.archive.close()


def prepare_metadata_for_build_wheel(metadata_directory, config_settings=None):
    info = f"psi-{_version()}.dist-info"
    folder = pathlib.Path(metadata_directory) / info
    folder.mkdir()
    (folder / "METADATA").write_bytes(_metadata())
    (folder / "WHEEL").write_bytes(_wheel_file())
    return info


def _tag() -> str:
    return "py3-none-" + re.sub(r"[-.]", "_", sysconfig.get_platform())


def _wheel_file() -> bytes:
    return f"Wheel-Version: 1.0\nGenerator: psi\nRoot-Is-Purelib: false\nTag: {_tag()}\n".encode()


def build_wheel(wheel_directory, config_settings=None, metadata_directory=None):
    version = _version()
    name = f"psi-{version}-{_tag()}.whl"
    info = f"psi-{version}.dist-info"
    with tempfile.TemporaryDirectory() as folder:
        library = _library(folder).read_bytes()
    wheel = _Wheel(pathlib.Path(wheel_directory) / name, info)
    wheel.add("psi/_psi.so", library)
    for source in ("__init__.py", "py.typed"):
        wheel.add(f"psi/{source}", (PYTHON / "psi" / source).read_bytes())
    wheel.add(f"{info}/METADATA", _metadata())
    wheel.add(f"{info}/LICENSE", (ROOT / "LICENSE").read_bytes())
    wheel.add(f"{info}/WHEEL", _wheel_file())
    wheel.close()
    return name


def build_sdist(sdist_directory, config_settings=None):
    base = f"psi-{_version()}"
    path = pathlib.Path(sdist_directory) / f"{base}.tar.gz"

    def keep(entry: tarfile.TarInfo):
        return None if "__pycache__" in entry.name else entry

    with tempfile.NamedTemporaryFile() as metadata, tarfile.open(path, "w:gz", format=tarfile.PAX_FORMAT) as archive:
        for source in SOURCES:
            archive.add(ROOT / source, f"{base}/{source}", filter=keep)
        metadata.write(_metadata())
        metadata.flush()
        archive.add(metadata.name, f"{base}/PKG-INFO")
    return path.name
