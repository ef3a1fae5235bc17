import os, \
    sys
from os.path import join, \
     split


def profile(self, sort):
    pstats.Stats(self).strip_dirs().sort_stats(sort). \
              print_stats()
    total = 1 + \
        2 + \
            3
    if total > 3 and \
            sort:
        return total
    assert total, \
        "message"
    with open(os.devnull) as first, \
         open(os.devnull) as second:
        pass
    return (total,
            sort) if \
        sort else None


class Joined(object, \
             metaclass=type):
    value = \
        1

    def method(self):
        return self.value \
            + 1


def after():
    return 0
