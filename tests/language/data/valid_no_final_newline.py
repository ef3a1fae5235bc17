class NoFinalNewline:
    def method(self):
        return [1,
                2]  # a comment at the very end