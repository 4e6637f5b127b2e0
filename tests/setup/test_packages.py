"""Which packages the set-up asks apt for, where the distribution decides it."""

import pathlib
import shutil
import subprocess
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]

TOOLS = {
    # Of the packages that are asked for, everything is there but what is named after a release.
    "dpkg-query": r"""for name; do
        case $name in
        -*) ;;
        libc++-\*-dev | lld-\*) sed 's/.*/installed &/' "$ROOT/installed" ;;
        clang-[0-9]* | clang- | libclang-rt-[!d]* | llvm-* | libc++* | lld-*)
            grep -qxF "$name" "$ROOT/installed" && echo "installed $name" ;;
        *) echo "installed $name" ;;
        esac
    done""",
    "apt-cache": 'cat "$ROOT/known"',
    "apt-get": """case "$*" in
        *update*) cp "$ROOT/mirror" "$ROOT/known" ;;
        *) echo "${*#* install -y --no-install-recommends }" >>"$ROOT/asked" ;;
        esac""",
    "cmake": """case "$*" in *--preset*) mkdir -p "build/$3" && touch "build/$3/build.ninja" ;; esac""",
    "id": "echo 0",
    "npm": "exit 0",
}


class Releases(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.root = pathlib.Path(folder.name).resolve()
        shutil.copytree(ROOT / "scripts", self.root / "scripts")
        shutil.copy(ROOT / "CMakePresets.json", self.root)
        for name in ("tools", "tests/darwin"):
            (self.root / name).mkdir(parents=True)
        for name in ("toolchain.sh", "icu-sources.sh"):
            (self.root / "tests/darwin" / name).touch()
        for name, script in TOOLS.items():
            (self.root / "tools" / name).write_text(f"#!/bin/sh\n{script}\n")
            (self.root / "tools" / name).chmod(0o755)

    def asked(self, mirror, known=None, installed=()):
        """What apt was asked to install, given what it and the machine have."""
        for name, packages in (("mirror", mirror), ("installed", installed),
                               ("known", mirror if known is None else known)):
            (self.root / name).write_text("".join(package + "\n" for package in packages))
        subprocess.run(
            ["bash", self.root / "scripts/setup.sh", "ci-sanitizers"], check=True, stdin=subprocess.DEVNULL,
            env={"PATH": f"{self.root}/tools:/usr/bin:/bin", "ROOT": str(self.root)})
        asked = self.root / "asked"
        return asked.read_text().split() if asked.exists() else []

    def test_are_the_oldest_that_are_new_enough(self):
        self.assertEqual(
            self.asked(["libc++-dev", "libc++-100-dev", "libc++-9-dev", "libc++-15-dev",
                        "libc++-17-dev-wasm32", "libc++-18-dev", "libc++-19-dev",
                        "lld", "lld-100", "lld-9", "lld-16", "lld-22", "lld-20-dev", "lld-21"]),
            ["clang-18", "libclang-rt-18-dev", "llvm-18", "libc++-18-dev", "libc++abi-18-dev", "lld-21"])

    def test_are_found_once_the_lists_of_packages_are_there(self):
        self.assertEqual(self.asked(["libc++-16-dev", "libc++-19-dev", "lld-19"], known=[]),
                         ["clang-16", "libclang-rt-16-dev", "llvm-16", "libc++-16-dev",
                          "libc++abi-16-dev", "lld-19"])

    def test_are_those_that_are_installed(self):
        self.assertEqual(
            self.asked(["libc++-16-dev", "libc++-19-dev", "lld-19", "lld-22"],
                       installed=["libc++-19-dev", "lld-22"]),
            ["clang-19", "libclang-rt-19-dev", "llvm-19", "libc++abi-19-dev"])

    def test_installs_nothing_when_all_is_there(self):
        self.assertEqual(
            self.asked(["libc++-16-dev", "lld-19"], installed=[
                "clang-16", "libclang-rt-16-dev", "llvm-16", "libc++-16-dev", "libc++abi-16-dev",
                "lld-19"]),
            [])


if __name__ == "__main__":
    unittest.main()
