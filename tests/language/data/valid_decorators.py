import functools


def decorate(*args, **kwargs):
    return lambda function: function


@decorate('first line',
          'second line')
def multi_line_arguments():
    pass


@decorate("a string that continues \
on the next line")
class StringJoin:
    @staticmethod
    def static():
        pass

    @classmethod
    def klass(cls):
        pass

    @property
    def value(self):
        return 1

    @decorate(
        key={'nested': [1,
                        2]},
    )
    @functools.lru_cache(maxsize=None)
    def cached(self):
        pass


@decorate  # a comment after the decorator
def commented():
    pass


@decorate(lambda x: x)
async def coroutine():
    def inner():
        pass
    return inner
