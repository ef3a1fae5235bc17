#include "tests/language/parser_dump.h"
#include "tests/support/test_registry.h"

#include <QtTest/QTest>

using ke2::PythonParser;
using ke2::test::messagesOf;
using ke2::test::outlineOf;

class PythonParserTest : public QObject {
    Q_OBJECT
private slots:
    // Outline items are "kind depth position name"; the other lists "start end message".
    void scan_data()
    {
        QTest::addColumn<QString>("source");
        QTest::addColumn<QStringList>("outline");
        QTest::addColumn<QStringList>("errors");
        QTest::addColumn<QStringList>("warnings");
        QTest::addColumn<QStringList>("todos");
        const QStringList none;

        QTest::newRow("plain imports")
            << "import os, sys.path" << QStringList{"4 0 7 os", "4 0 11 sys.path"} << none << none << none;
        QTest::newRow("a part found inside an earlier one points there")
            << "import ab, b" << QStringList{"4 0 7 ab", "4 0 8 b"} << none << none << none;
        QTest::newRow("import with alias") << "import os as o" << QStringList{"5 0 13 o = os"} << none << none << none;
        QTest::newRow("import line skips its comment")
            << "import os  # TODO" << QStringList{"4 0 7 os"} << none << none << none;
        QTest::newRow("from-import names and aliases")
            << "from a.b import c, d as e" << QStringList{"6 0 16 c (a.b)", "6 0 24 e = d (a.b)"} << none << none
            << none;
        QTest::newRow("from-import keeps scanning its line")
            << "from a import b  # TODO" << QStringList{"6 0 14 b (a)"} << none << none << QStringList{"17 23 TODO:"};
        QTest::newRow("parenthesised from-import shows nothing")
            << "from x import (a,\n    b)\nx = 1" << none << none << none << none;
        QTest::newRow("star import shows nothing") << "from x import *" << none << none << none << none;
        QTest::newRow("staticmethod decorator")
            << "@staticmethod\ndef f(self):\n    pass" << QStringList{"9 0 18 f"} << none << none << none;
        QTest::newRow("comment between decorator and def forgets it")
            << "@staticmethod\n# c\ndef f(self): pass" << QStringList{"8 0 22 f"} << none << none << none;
        QTest::newRow("decorator nearest the def wins: static")
            << "@classmethod\n@staticmethod\ndef f(): pass" << QStringList{"9 0 31 f"} << none << none << none;
        QTest::newRow("decorator nearest the def wins: class")
            << "@staticmethod\n@classmethod\ndef f(): pass" << QStringList{"10 0 31 f"} << none << none << none;
        QTest::newRow("decorator line must match exactly")
            << "@staticmethod \ndef f(): pass" << QStringList{"8 0 19 f"} << none << none << none;
        QTest::newRow("methods nest under their class, a later def is top level again")
            << "class A:\n    def f(self):\n        pass\ndef g():\n    pass"
            << QStringList{"11 0 6 A", "8 1 17 f", "8 0 43 g"} << none << none << none;
        QTest::newRow("class name after a tab") << "class\tA(B):\n    pass" << QStringList{"11 0 6 A"} << none << none
                                                << none;
        QTest::newRow("main guard with double quotes")
            << "if __name__ == \"__main__\":\n    main()" << QStringList{"7 0 16 __main__"} << none << none << none;
        QTest::newRow("main guard with single quotes")
            << "if __name__ == '__main__':\n    main()" << QStringList{"7 0 16 __main__"} << none << none << none;
        QTest::newRow("async def is not a function") << "async def f():\n    pass" << none << none << none << none;
        QTest::newRow("tab level does not match eight spaces")
            << "class A:\n        x = 1\n\tdef f(self):\n\t\tpass" << QStringList{"11 0 6 A", "8 0 28 f"}
            << QStringList{"23 24 Unindent does not match any outer indentation level"} << none << none;
        QTest::newRow("colon with trailing comment opens a block, its TODO is skipped")
            << "if x:   # TODO comment\ny = 1" << none << QStringList{"23 23 Expected an indented block"} << none
            << none;
        QTest::newRow("def inside an open parenthesis closes it")
            << "foo(\ndef bar(): pass" << QStringList{"8 0 9 bar"} << QStringList{"4 4 Expected a ')'"} << none
            << none;
        QTest::newRow("open bracket continues the statement") << "x = (1,\n     2)\ny = 1" << none << none << none
                                                              << none;
        QTest::newRow("unexpected indent") << "x = 1\n    y = 2" << none << QStringList{"6 10 Unexpected indent"}
                                           << none << none;
        QTest::newRow("only one indentation error per parse")
            << "x = 1\n    y = 2\nif x:\nz" << none << QStringList{"6 10 Unexpected indent"} << none << none;
        QTest::newRow("tabs and spaces in one indent")
            << "if x:\n\t    y = 1" << none << none << QStringList{"6 11 Indent contains both tabs and spaces"}
            << none;
        QTest::newRow("unexpected closing bracket, reported once")
            << "x = ) ]" << none << QStringList{"4 5 Unexpected ')'"} << none << none;
        QTest::newRow("unterminated one-line string")
            << "x = 'abc\ny = 1" << none << QStringList{"4 8 Unterminated String"} << none << none;
        QTest::newRow("other quote inside a string") << "x = \"it's\"" << none << none << none << none;
        QTest::newRow("TODO in a comment") << "# TODO fix" << none << none << none << QStringList{"0 10 TODO:"};
        QTest::newRow("TODOS in a comment") << "# TODOS" << none << none << none << none;
        QTest::newRow("docstring with TODO")
            << "def f():\n    \"\"\"Does it.\n\n    TODO: more\n    \"\"\"\n" << QStringList{"8 0 4 f"} << none
            << none << QStringList{"13 45 TODO:"};
        QTest::newRow("unterminated triple-quoted string is not an error")
            << "\"\"\"abc" << none << none << none << none;
        QTest::newRow("unterminated triple-quoted TODO runs to the end")
            << "'''TODO" << none << none << none << QStringList{"0 -1 TODO:"};
        QTest::newRow("escaped triple quote does not close")
            << "x = '''a\\''' TODO'''\ndef f(): pass" << QStringList{"8 0 25 f"} << none << none
            << QStringList{"10 17 TODO:"};
    }
    void scan()
    {
        QFETCH(QString, source);
        QFETCH(QStringList, outline);
        QFETCH(QStringList, errors);
        QFETCH(QStringList, warnings);
        QFETCH(QStringList, todos);
        PythonParser parser;
        parser.Parse(source, QStringLiteral("a.py"));
        QCOMPARE(outlineOf(parser), outline);
        QCOMPARE(messagesOf(parser.Errors()), errors);
        QCOMPARE(messagesOf(parser.Warnings()), warnings);
        QCOMPARE(messagesOf(parser.Todos()), todos);
    }

    void reparseStartsAfresh()
    {
        PythonParser parser;
        QVERIFY(parser.IsPython());
        QVERIFY(!parser.IsMel());
        parser.Parse(QStringLiteral("class A:\n        x = 1\n\ty = (\n@staticmethod\n"), QString());
        QVERIFY(!parser.Errors().isEmpty());
        parser.Parse(QStringLiteral("def f():\n    pass\n"), QStringLiteral("b.py"));
        QCOMPARE(outlineOf(parser), QStringList{"8 0 4 f"});
        QVERIFY(parser.Errors().isEmpty());
        QCOMPARE(parser.FilePath(), QStringLiteral("b.py"));
    }
};
KE2_TEST_CLASS(PythonParserTest)

#include "test_python_parser.moc"
