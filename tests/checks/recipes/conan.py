# SPDX-License-Identifier: MIT
"""Runs the recipe of Conan by hand: each of Conan's names that it uses does here what its manual
says.

conan.py SOURCE_DIR WORK_DIR: installs below WORK_DIR/conan
"""

import importlib.util
import shutil
import subprocess
import sys
import types
from pathlib import Path

SOURCE, WORK = Path(sys.argv[1]).resolve(), Path(sys.argv[2]).resolve()
BUILD = WORK / "conan-build"


class Information:
    def __init__(self):
        self.properties = {}

    def set_property(self, name, value):
        self.properties[name] = value


class ConanFile:
    def __init__(self):
        self.recipe_folder = str(SOURCE / "packaging/conan")
        self.export_sources_folder = self.source_folder = str(WORK / "conan-sources")
        self.package_folder = str(WORK / "conan")
        self.required = []
        self.cpp_info = Information()

    def requires(self, reference, **_):
        self.required.append(reference.split("/")[0])


class CMakeDeps:
    def __init__(self, recipe):
        pass

    def generate(self):
        pass


class CMakeToolchain:
    last = None

    def __init__(self, recipe):
        self.cache_variables = {"BUILD_SHARED_LIBS": recipe.default_options["shared"]}

    def generate(self):
        CMakeToolchain.last = self


class CMake:
    def __init__(self, recipe):
        self.recipe = recipe

    def configure(self):
        run("-S", self.recipe.source_folder, "-B", BUILD, "-G", "Ninja", "-Werror=dev",
            "-DCMAKE_BUILD_TYPE=Release", "-DCMAKE_INSTALL_LIBDIR=lib",
            *(f"-D{n}={'ON' if v else 'OFF'}"
              for n, v in CMakeToolchain.last.cache_variables.items()))

    def build(self):
        run("--build", BUILD)

    def install(self):
        run("--install", BUILD, "--prefix", self.recipe.package_folder)


def run(*arguments):
    done = subprocess.run(["cmake", *arguments], check=True, text=True, stdout=subprocess.DEVNULL,
                          stderr=subprocess.PIPE)
    # An option that the project does not know is a mistake, though CMake only warns of it.
    assert not done.stderr, done.stderr


def copy(_, pattern, src, dst):
    for path in Path(src).glob(pattern):
        target = Path(dst) / path.relative_to(src)
        target.parent.mkdir(parents=True, exist_ok=True)
        if path.is_dir():
            shutil.copytree(path, target, dirs_exist_ok=True)
        else:
            shutil.copy(path, target)


def rmdir(_, path):
    shutil.rmtree(path)


def install_names():
    """Makes what the recipe imports, and nothing else, importable."""
    names = {"conan": {"ConanFile": ConanFile},
             "conan.tools": {},
             "conan.tools.cmake": {"CMake": CMake, "CMakeDeps": CMakeDeps,
                                   "CMakeToolchain": CMakeToolchain,
                                   "cmake_layout": lambda recipe: None},
             "conan.tools.files": {"copy": copy, "rmdir": rmdir}}
    for name, members in names.items():
        module = types.ModuleType(name)
        module.__dict__.update(members)
        sys.modules[name] = module


def main():
    install_names()
    file = SOURCE / "packaging/conan/conanfile.py"
    spec = importlib.util.spec_from_file_location("conanfile", file)
    module = importlib.util.module_from_spec(spec)
    spec.loader.exec_module(module)
    recipe = module.VornBases()
    for step in (recipe.export_sources, recipe.requirements, recipe.layout, recipe.generate,
                 recipe.build, recipe.package, recipe.package_info):
        step()
    assert sorted(recipe.required) == ["boost", "highway", "libxml2"], recipe.required
    for library in recipe.cpp_info.libs:
        assert (WORK / f"conan/lib/lib{library}.so").exists(), library
    assert recipe.cpp_info.properties["cmake_target_name"] == "Vorn::Bases"
    assert (WORK / "conan/licenses/LICENSE").exists()


main()
