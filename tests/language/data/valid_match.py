import re

match = re.match(r'\d+', '123')
case = 1


def command(action):
    match action:
        case {"go": direction, **rest}:
            return direction
        case [first, *others] if first:
            return first
        case Point(x=0,
                   y=0):
            return 'origin'
        case str() | bytes():
            pass
        case _:
            match = case = None
            return match


class Point:
    __match_args__ = ('x', 'y')
