# A small module.
import os
from maya import cmds


@decorator(arg=1)
class Mesh(object):
    """A mesh.

    Quotes inside: \""" still the docstring.
    """

    def __init__(self, name):
        self.name = name  # keep it
        path = os.path.join('a', "b\tc")
        cmds.polySphere(n=name)
        polySphere()

    @classmethod
    def build(cls, size=1.5):
        if size > 0 and len(cls.items):
            return [len(x) for x in range(3)]
        text = 'line one \
line two'
        return '''never
        closed
