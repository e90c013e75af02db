# SPDX-License-Identifier: MIT
"""Builds the tree that this file lies in: conan create packaging/conan --build=missing"""

from pathlib import Path

from conan import ConanFile
from conan.tools.cmake import CMake, CMakeDeps, CMakeToolchain, cmake_layout
from conan.tools.files import copy, rmdir

SHIPPED = ("Bases/*", "cmake/*", "CMakeLists.txt", "LICENSE", "THIRD-PARTY.md")


class VornBases(ConanFile):
    name = "vorn-bases"
    version = "1.0.0"
    description = "One portable set of base services for an application engine on POSIX"
    license = "MIT"
    settings = "os", "arch", "compiler", "build_type"
    options = {"shared": [True, False], "fPIC": [True, False]}
    default_options = {"shared": True, "fPIC": True}
    implements = ["auto_shared_fpic"]

    def export_sources(self):
        tree = Path(self.recipe_folder).parent.parent
        for pattern in SHIPPED:
            copy(self, pattern, str(tree), self.export_sources_folder)

    def requirements(self):
        self.requires("libxml2/[>=2.9.14 <3]")
        self.requires("boost/[>=1.74 <2]", transitive_headers=True)
        self.requires("highway/[>=1.0 <2]")

    def layout(self):
        cmake_layout(self)

    def generate(self):
        CMakeDeps(self).generate()
        toolchain = CMakeToolchain(self)
        toolchain.cache_variables["VORN_BASES_TESTS"] = False
        toolchain.cache_variables["VORN_BASES_EXAMPLES"] = False
        toolchain.generate()

    def build(self):
        cmake = CMake(self)
        cmake.configure()
        cmake.build()

    def package(self):
        CMake(self).install()
        # Programs get package files that Conan writes from package_info.
        rmdir(self, str(Path(self.package_folder) / "lib" / "cmake"))
        rmdir(self, str(Path(self.package_folder) / "lib" / "pkgconfig"))
        for name in ("LICENSE", "THIRD-PARTY.md"):
            copy(self, name, self.source_folder, str(Path(self.package_folder) / "licenses"))

    def package_info(self):
        self.cpp_info.libs = ["Vorn-Bases"]
        self.cpp_info.set_property("cmake_file_name", "VornBases")
        self.cpp_info.set_property("cmake_target_name", "Vorn::Bases")
        self.cpp_info.set_property("pkg_config_name", "Vorn-Bases")
        self.cpp_info.system_libs = ["pthread"]
