def first():
	if True:
	    return 1  # tab then spaces


class Levels:
        x = 1
	def misaligned(self):
		pass


def later():
    value = "unterminated
    return value
def after_string():
    pass

items = [1, 2
def fresh():
    pass
    )
