#pragma once
// The generated scripts the benchmarks read: one chunk repeated up to the size wanted, "%1" the
// chunk's number and "%2" a digit drawn from a fixed seed, so that every run reads the same text.
#include <QtCore/QRandomGenerator>
#include <QtCore/QString>

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
    for (int i = 0; text.size() < size; ++i)
        text += QString::fromLatin1(chunk).arg(i).arg(random.bounded(9) + 1);
    return text;
}

} // namespace ke2bench
