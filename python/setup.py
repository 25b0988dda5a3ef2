from pathlib import Path

from setuptools import setup
from wheel.bdist_wheel import bdist_wheel


class Wheel(bdist_wheel):
    """For any Python 3; with the library inside, as tools/wheel makes it, for its platform alone."""

    def finalize_options(self):
        super().finalize_options()
        self.root_is_pure = not Path("ktformula9/libktformula9.so.0").exists()

    def get_tag(self):
        return "py3", "none", super().get_tag()[2]


setup(cmdclass={"bdist_wheel": Wheel})
