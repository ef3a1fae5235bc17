quote = "a \"quoted\" word"
apostrophe = 'it\'s'
backslash = 'ends in a backslash \\'
raw = r'\'still raw\''
joined = "one line \
    continued inside the string"
    
triple = '''an escaped \''' inside'''
escaped_backslash = '''ends in two backslashes \\'''
doubled = """ends in an escaped quote \""""
bytes_value = b'\x00\'' + rb"\"" + Rb'\\'
docstring = """
class NotAClass:
  def not_a_function(): (
"""


def after_strings():
    """A docstring with 'quotes' and "others" and a # that is no comment."""
    return quote + apostrophe
