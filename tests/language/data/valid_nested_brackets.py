table = {
    'a': [1, 2,
          (3, 4,
    5)],
        'b': {'c': [
            {'d': 1}]},
}


def handler(first,
        second=(1,
                2), *rest,
                  **options):
    result = [item
              for item in rest
                  if item]
    call(
        class_=1,
        def_=2,
        from_=3,
        import_=4,
    )
    return {key: value for key, value in
    options.items()}


def generator():
    received = (yield
                from range(3))
    also = (yield
            from received)
    return also


class Bracketed(
        object):
    slots = ['x',
             'y']
