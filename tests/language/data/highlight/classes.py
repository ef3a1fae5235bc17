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
        ls = 1; os.path.join(a, b); a.len + 1
        a.len + len
        if_x = 1; éif = 1; x = '#' + y; x = 'a b'  # if
        class Foo:
        f('a', (
        x = 'a:'
        if x:  # why
        """a	b"""
        x = 'a
        len(b)

    @classmethod
    def build(cls, size=1.5):
        if size > 0 and len(cls.items):
            return [len(x) for x in range(3)]
        text = 'line one \
line two'
        return '''never
        closed
