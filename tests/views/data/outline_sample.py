"""Pipeline tools used by the outline tests."""
import os
import maya.cmds as cmds
from collections import OrderedDict


class Exporter(object):
    def __init__(self, path):
        self.path = path

    @staticmethod
    def version():
        return 2

    @classmethod
    def create(cls):
        return cls(os.getcwd())

    class Options:
        def apply(self):
            import json
            return json

    def close(self):
        pass


def build(node):
    return cmds.ls(node)


class Alpha:
    def zulu(self):
        pass

    def bravo(self):
        pass


if __name__ == "__main__":
    def run():
        build("root")
    run()
