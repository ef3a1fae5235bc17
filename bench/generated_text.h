#pragma once
// The generated scripts the benchmarks read: one chunk repeated up to the size wanted, "%1" the
// chunk's number and "%2" a digit drawn from a fixed seed, so that every run reads the same text.
#include <QtCore/QRandomGenerator>
#include <QtCore/QString>
#include <QtCore/QStringList>

namespace ke2bench {

// Global and local procedures with typed and array parameters, commands with flags and negative
// numbers, backquotes, vectors, a global declared at the top and inside a procedure, comments of
// both kinds (one with a TODO marker) and strings with escapes.
inline const char melChunk[] = R"(global proc string[] ke2Tool%1(string $root, int $depth)
{
    // Collect the children of the root. TODO: cache the result
    string $children[] = `listRelatives -c -f $root`;
    for ($i = 0; $i < size($children); $i++) {
        if ($depth > 0 && `objExists $children[$i]`) {
            print ("child: " + $children[$i] + " of \"" + $root + "\"\n");
            ke2Tool%1($children[$i], $depth - 1);
        }
    }
    vector $offset = <<1, -2, %2>>;
    polyCube -w ($depth - 1) -h -0.5 -sx %2 -n ("cube" + $depth);
    return $children;
}

global int $gKe2Counter%1 = 0;
global string $gKe2Names%1[];

proc float ke2Helper%1(float $value)
{
    global int $gKe2Counter%1;
    /* Scale by the
       global factor. */
    float $scaled = $value * %2.5;
    setAttr "pCube%1.translateX" $scaled;
    $gKe2Counter%1++;
    return $scaled;
}

)";

inline QString GenerateText(const char *chunk, int size)
{
    QString text;
    text.reserve(size + 4096);
    QRandomGenerator random(42);
    const QString pattern = QString::fromLatin1(chunk, int(qstrlen(chunk)));
    for (int i = 0; text.size() < size; ++i)
        text += pattern.arg(i).arg(random.bounded(9) + 1);
    return text;
}

// `lines` lines taken from `chunk` over and over, "%1" in each numbering its round.
template <int n> QString RepeatedLines(const char *const (&chunk)[n], int lines)
{
    QStringList out;
    out.reserve(lines);
    for (int i = 0; out.size() < lines; ++i)
        out.append(QString::fromLatin1(chunk[i % n]).replace(QLatin1String("%1"), QString::number(i / n)));
    return out.join(QLatin1Char('\n'));
}

// A Python module of `lines` lines: classes with docstrings, comprehensions, strings and calls.
inline QString PythonModule(int lines)
{
    static const char *const chunk[] = {
        "class Node%1(object):",
        "    \"\"\"A node of the graph.\"\"\"",
        "",
        "    def __init__(self, name, parent=None):",
        "        self.name = name  # display name",
        "        self.children = [child for child in range(10) if child % 2]",
        "        self.lookup = {'a': (1, 2), 'b': [3, 4]}",
        "",
        "    def walk(self, depth=0):",
        "        for child in self.children:",
        "            if isinstance(child, Node%1) and depth < 10:",
        "                yield from child.walk(depth + 1)",
        "            else:",
        "                print(\"leaf %s\" % str(child), len(self.name))",
        "        return None",
        "",
    };
    return RepeatedLines(chunk, lines);
}

} // namespace ke2bench
