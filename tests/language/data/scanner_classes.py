"""Module docstring.

TODO: document the public names
"""
import os, sys
import collections.abc as cabc
from typing import Any, Dict as D, (List)
from . import sibling
from .pkg.mod import name  # TODO re-export


class Base(object):
    """A base."""

    def __init__(self, value):
        self.value = value  # plain comment

    @staticmethod
    def make():
        return Base(1)

    @classmethod
    def build(cls, *args):
        return cls(*args)

    @property
    def doubled(self):
        return self.value * 2

    class Inner:
        def method(self):
            text = 'it\'s' + "a \"quote\""
            return text


def helper(a,
           b=(1, 2),
           c={'k': [3]}):
    data = {
        'x': 1,
    }
    return a


async def fetch():
    pass


if __name__ == '__main__':
    helper(1)
