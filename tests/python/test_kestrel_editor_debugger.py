"""The debugger's Python side on its own, under whichever interpreter runs this file.

Each scenario runs a small program with breakpoints and a list of answers to give at the stops;
what is checked is where it stopped, why, and what the paused frame held.
"""

import json
import os
import shutil
import sys
import tempfile
import textwrap
import unittest

HERE = os.path.dirname(os.path.abspath(__file__))
SCRIPT = os.environ.get('KE2_DEBUGGER_SCRIPT') or os.path.join(
    HERE, '..', '..', 'resources', 'python', 'kestrel_editor_debugger.py')
with open(SCRIPT) as handle:
    exec(compile(handle.read(), '<string>', 'exec'), globals())

MAIN = textwrap.dedent('''\
    import helper
    total = 0
    def add(a, b):
        result = a + b
        return result
    try:
        for i in range(3):
            total = add(total, i)
        value = helper.twice(total)
        print(value)
    finally:
        done = True
    ''')
HELPER = textwrap.dedent('''\
    def twice(x):
        doubled = x * 2
        return doubled
    ''')


class Recorder(object):
    """Answers the stops in order and notes each one: (reason, file name, line, locals asked)."""

    def __init__(self, answers, watch=None):
        self.answers = list(answers)
        self.stops = []
        self.events = []
        self.watch = watch

    def __call__(self, text):
        info = json.loads(text)
        self.events.append(info['event'])
        if info['event'] != 'paused':
            return ''
        top = info['frames'][0]
        names = dict((row[0], row[2]) for row in json.loads(KestrelEditorDebugger.variables(0, 'locals')))
        watched = json.loads(KestrelEditorDebugger.evaluate(0, self.watch)) if self.watch else None
        self.stops.append((info['reason'], os.path.basename(top['file']), top['line'], names, watched,
                           [f['name'] for f in info['frames']], info.get('exception')))
        return self.answers.pop(0) if self.answers else 'continue'


class DebuggerTest(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.mkdtemp()
        self.main = os.path.join(self.folder, 'main.py')
        self.helper = os.path.join(self.folder, 'helper.py')
        with open(self.helper, 'w') as handle:
            handle.write(HELPER)
        sys.path.insert(0, self.folder)
        sys.modules.pop('helper', None)
        self.saved_main = dict(sys.modules['__main__'].__dict__)

    def tearDown(self):
        sys.path.remove(self.folder)
        sys.modules.pop('helper', None)
        shutil.rmtree(self.folder)
        namespace = sys.modules['__main__'].__dict__
        namespace.clear()
        namespace.update(self.saved_main)
        KestrelEditorDebugger.pause_hook = None
        self.assertIsNone(sys.gettrace())

    def debug(self, breakpoints, answers, source=MAIN, watch=None, exceptions=True):
        recorder = Recorder(answers, watch)
        KestrelEditorDebugger.pause_hook = recorder
        table = [[self.main if f == 'main' else self.helper, line, True, condition, count]
                 for f, line, condition, count in breakpoints]
        self.assertEqual(KestrelEditorDebugger.set_breakpoints(json.dumps(table)), 1)
        error = None
        try:
            KestrelEditorDebugger.run(source, self.main, 1, exceptions)
        except BaseException as raised:  # what the host would report
            error = raised
        return recorder, error

    def where(self, recorder):
        return [(stop[0], stop[1], stop[2]) for stop in recorder.stops]

    def test_stops_and_steps(self):
        rows = [
            # name, breakpoints (file, line, condition, count), answers, expected stops
            ('breakpoint then continue', [('main', 4, '', 0)], [],
             [('breakpoint', 'main.py', 4)] * 3),
            ('step over stays in the frame', [('main', 4, '', 0)], ['over', 'over', 'stop'],
             [('breakpoint', 'main.py', 4), ('step', 'main.py', 5), ('step', 'main.py', 7)]),
            ('step into another file', [('main', 9, '', 0)], ['into', 'into', 'out', 'stop'],
             [('breakpoint', 'main.py', 9), ('step', 'helper.py', 2), ('step', 'helper.py', 3),
              ('step', 'main.py', 10)]),
            ('a function entered from traced code stops once', [('main', 4, '', 0), ('main', 9, '', 0)],
             ['over', 'stop'], [('breakpoint', 'main.py', 4), ('step', 'main.py', 5)]),
            ('step out returns to the caller', [('main', 4, '', 0)], ['out', 'stop'],
             [('breakpoint', 'main.py', 4), ('step', 'main.py', 7)]),
            ('breakpoint in an imported file', [('helper', 2, '', 0)], [],
             [('breakpoint', 'helper.py', 2)]),
            ('condition', [('main', 4, 'a == 1', 0)], [],
             [('breakpoint', 'main.py', 4)]),
            ('hit count', [('main', 4, '', 3)], [],
             [('breakpoint', 'main.py', 4)]),
            ('broken condition stops', [('main', 5, 'undefined_name > 1', 0)], ['stop'],
             [('breakpoint', 'main.py', 5)]),
            ('run to cursor', [('main', 2, '', 0)], ['cursor 10 ' + '{main}'],
             [('breakpoint', 'main.py', 2), ('cursor', 'main.py', 10)]),
        ]
        for name, points, answers, expected in rows:
            with self.subTest(name):
                answers = [a.replace('{main}', self.main) for a in answers]
                recorder, error = self.debug(points, answers)
                self.assertEqual(self.where(recorder), expected)
                self.assertIsNone(error)
                ending = ['stopped', 'ended'] if 'stop' in answers else ['ended']
                self.assertEqual(recorder.events[-len(ending):], ending)

    def test_generators_and_coroutines_resume_under_the_debugger(self):
        # A suspended generator or coroutine runs untraced; every resume must still reach its
        # breakpoints, and a yield counts as a return for the steps.
        generator = textwrap.dedent('''\
            def numbers(n):
                i = 0
                while i < n:
                    yield i
                    i += 1
                last = i
            total = 0
            for k in numbers(3):
                total += k
            done = total
            ''')
        coroutine = textwrap.dedent('''\
            import asyncio
            async def work():
                a = 1
                await asyncio.sleep(0)
                b = a + 1
                await asyncio.sleep(0)
                return b
            result = asyncio.run(work())
            ''')
        rows = [
            # name, source, breakpoints, answers, expected stops (reason, line)
            ('breakpoint after the first yield', generator, [5], [],
             [('breakpoint', 5)] * 3),
            ('breakpoint on the yield', generator, [4], [],
             [('breakpoint', 4)] * 3),
            ('step over a yield goes to the consumer', generator, [4], ['over', 'over', 'stop'],
             [('breakpoint', 4), ('step', 9), ('step', 8)]),
            ('step out of a generator', generator, [5], ['out', 'stop'],
             [('breakpoint', 5), ('step', 9)]),
            ('step into each resume', generator, [9], ['into', 'into', 'into', 'stop'],
             [('breakpoint', 9), ('step', 8), ('step', 5), ('step', 3)]),
            ('step over inside a resumed generator', generator, [5], ['over', 'over', 'over', 'stop'],
             [('breakpoint', 5), ('step', 3), ('step', 4), ('step', 9)]),
            ('breakpoints after each await', coroutine, [5, 7], [],
             [('breakpoint', 5), ('breakpoint', 7)]),
        ]
        for name, source, lines, answers, expected in rows:
            with self.subTest(name):
                recorder, error = self.debug([('main', line, '', 0) for line in lines], answers, source=source)
                self.assertIsNone(error)
                self.assertEqual([(stop[0], stop[2]) for stop in recorder.stops], expected)
        self.assertEqual(sys.modules['__main__'].__dict__.get('result'), 2)

    def test_locals_watch_and_stack(self):
        mechanisms = []
        original = KestrelEditorDebugger.variables.__func__

        def noting(cls, frame_index, ref):
            mechanisms.append(cls._use_monitoring)
            return original(cls, frame_index, ref)

        KestrelEditorDebugger.variables = classmethod(noting)
        try:
            recorder, _ = self.debug([('helper', 3, '', 0)], [], watch='doubled + 1')
        finally:
            KestrelEditorDebugger.variables = classmethod(original)
        # The low-overhead interface wherever the interpreter has it.
        self.assertEqual(mechanisms, [hasattr(sys, 'monitoring')])
        stop = recorder.stops[0]
        self.assertEqual(stop[3], {'x': '3', 'doubled': '6'})
        self.assertEqual(stop[4], [True, '7'])
        self.assertEqual(stop[5], ['twice', '<module>'])  # caller last

    def test_code_compiled_for_the_debugger_runs_on_after_the_run(self):
        self.debug([('main', 4, '', 0), ('helper', 2, '', 0)], [])
        namespace = sys.modules['__main__'].__dict__
        self.assertEqual((namespace['add'](1, 2), sys.modules['helper'].twice(4)), (3, 8))
        self.assertIsNone(sys.gettrace())

    def test_stop_and_interrupt_run_finally_blocks(self):
        # Stop ends quietly; Esc (interrupt) ends as an interrupted run, without an exception pause.
        for answer, raised in (('stop', None), ('interrupt', KeyboardInterrupt)):
            with self.subTest(answer):
                recorder, error = self.debug([('main', 4, '', 0)], [answer])
                self.assertTrue(sys.modules['__main__'].__dict__.get('done'))
                self.assertNotIn('value', sys.modules['__main__'].__dict__)
                self.assertEqual(type(error) if error else None, raised)
                self.assertEqual(self.where(recorder), [('breakpoint', 'main.py', 4)])
                if error is not None:  # reported at the user's line, as the host shows it
                    tb = error.__traceback__
                    while tb.tb_next is not None:
                        tb = tb.tb_next
                    self.assertEqual((tb.tb_frame.f_code.co_filename, tb.tb_lineno), (self.main, 4))
                sys.modules['__main__'].__dict__.pop('done', None)

    def test_uncaught_exception_pauses_at_the_raising_line(self):
        source = 'def fail(n):\n    limit = n\n    raise ValueError("bad %d" % n)\nfail(4)\n'
        for pause in (True, False):
            with self.subTest(pause=pause):
                recorder, error = self.debug([], [], source=source, exceptions=pause)
                self.assertIsInstance(error, ValueError)
                if pause:
                    stop = recorder.stops[0]
                    self.assertEqual(stop[:3], ('exception', 'main.py', 3))
                    self.assertEqual(stop[3]['limit'], '4')
                    self.assertEqual(stop[6], 'ValueError: bad 4')
                else:
                    self.assertEqual(recorder.stops, [])

    def test_module_level_variables_leave_out_the_debugger(self):
        recorder, _ = self.debug([('main', 2, '', 0)], [])
        names = recorder.stops[0][3]
        self.assertIn('helper', names)
        self.assertEqual([n for n in names if 'KestrelEditor' in n or n in ('_PropertyPlaceholder', '_instrumenting_loader')],
                         [])

    def test_first_line_offset_matches_the_tab(self):
        recorder = Recorder([])
        KestrelEditorDebugger.pause_hook = recorder
        KestrelEditorDebugger.set_breakpoints(json.dumps([[self.main, 11, True, '', 0]]))
        KestrelEditorDebugger.run('a = 1\nb = 2\n', self.main, 10)
        self.assertEqual(self.where(recorder), [('breakpoint', 'main.py', 11)])

    def test_bounded_repr(self):
        class Slow(object):
            def __repr__(self):
                while True:
                    pass

        class Broken(object):
            def __repr__(self):
                raise RuntimeError('no')

        rows = [
            ('x' * 1000, lambda text: len(text) <= KestrelEditorDebugger.REPR_LENGTH + 5),
            (list(range(10 ** 5)), lambda text: text == 'list of 100000 items'),
            (Slow(), lambda text: 'took too long' in text),
            (Broken(), lambda text: 'repr failed: RuntimeError' in text),
            ({'a': 1}, lambda text: text == "{'a': 1}"),
        ]
        for value, check in rows:
            text = KestrelEditorDebugger.bounded_repr(value)
            self.assertTrue(check(text), text)

    def test_members_never_call_property_getters(self):
        calls = []

        class Tool(object):
            __slots__ = ('slot', '__dict__')

            def __init__(self):
                self.slot = 5
                self.name = 'tool'

            @property
            def costly(self):
                calls.append(1)
                return 1

            def __getattr__(self, name):
                calls.append(name)
                return 0

        KestrelEditorDebugger._refs = {1: Tool()}
        rows = json.loads(KestrelEditorDebugger.variables(0, 1))
        self.assertEqual([(r[0], r[2]) for r in rows],
                         [('costly', '<property: not read>'), ('name', "'tool'"), ('slot', '5')])
        self.assertEqual(calls, [])
        KestrelEditorDebugger._refs = {}

    def test_untraced_frames_when_no_breakpoint_is_in_their_code(self):
        seen = []
        original = KestrelEditorDebugger._should_stop.__func__

        def spy(cls, frame):
            seen.append(frame.f_code.co_name)
            return original(cls, frame)

        KestrelEditorDebugger._should_stop = classmethod(spy)
        try:
            self.debug([('helper', 2, '', 0)], [])
        finally:
            KestrelEditorDebugger._should_stop = classmethod(original)
        self.assertEqual(set(seen), {'twice'})


if __name__ == '__main__':
    unittest.main()
