def tabs():
	if True:
		return 1
	else:
		return 2


class Spaces:
    def method(self):
        if True:
            pass


def mixed_blocks():
	first = 1
	if first:
	        second = 2
	return first


if __name__ == "__main__":
	tabs()
