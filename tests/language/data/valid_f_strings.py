width = 10
value = 3.14159
name = 'x'
items = {'key': [1, 2]}
simple = f"{value:.2f}"
nested = f"{value!r:>{width}}"
quoted = f'{items["key"][0]}'
braces = f"{{literal}} {name}"
hash_inside = f"{'#'} and {name + '#'}"
triple = f"""
    {items['key']
     [1]}
{name:
    >10}"""
joined = f"{name}\
{value}"
bytes_and_format = rf"\d{width}\\"


def uses_f_strings(a):
    return f"{a:{'>' if a else '<'}{width}}"
