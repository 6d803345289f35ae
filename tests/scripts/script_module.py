"""A script of the project as a module, for tests of its single functions."""

import importlib.machinery
import importlib.util
import sys


def load(path):
    # The build folder is the place for what is made; nothing is written beside the scripts.
    sys.dont_write_bytecode = True
    loader = importlib.machinery.SourceFileLoader(path.name.replace("-", "_"), str(path))
    module = importlib.util.module_from_spec(importlib.util.spec_from_loader(loader.name, loader))
    loader.exec_module(module)
    return module
