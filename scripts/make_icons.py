#!/usr/bin/env python3
"""Writes the editor's icon sources (resources/icons/*.svg) from the drawings below.

All icons share one grid (16 x 16 units, 1.5-unit round strokes), one grey for outlines and a
handful of accent colours, so that they read as one family on the dark host interface.
`./ke2 icons` runs this script and then renders every source to PNG (1x and 2x).
"""

import os
import sys

GREY = "#b9c0ca"
LIGHT = "#eef1f5"
DARK = "#2b2f36"
GREEN = "#62b565"
RED = "#e0544f"
AMBER = "#e3a23b"
BLUE = "#4c8fd6"
YELLOW = "#efc84a"
TEAL = "#3bb3a3"
PURPLE = "#a97bd6"
ORANGE = "#e0873a"
CYAN = "#56b6c2"
FOLDER = "#c9a55a"

STROKE = 'fill="none" stroke="{c}" stroke-width="{w}" stroke-linecap="round" stroke-linejoin="round"'


def line(points, colour=GREY, width=1.5):
    pts = " ".join("%g,%g" % p for p in points)
    return '<polyline points="%s" %s/>' % (pts, STROKE.format(c=colour, w=width))


def path(d, colour=GREY, width=1.5):
    return '<path d="%s" %s/>' % (d, STROKE.format(c=colour, w=width))


def fill(d, colour):
    return '<path d="%s" fill="%s"/>' % (d, colour)


def rect(x, y, w, h, r=1.5, colour=GREY, width=1.5, filled=None):
    body = 'fill="%s"' % filled if filled else STROKE.format(c=colour, w=width)
    stroke = ' stroke="%s" stroke-width="%g"' % (colour, width) if filled and colour else ""
    return '<rect x="%g" y="%g" width="%g" height="%g" rx="%g" %s%s/>' % (x, y, w, h, r, body, stroke)


def circle(cx, cy, r, colour=GREY, width=1.5, filled=None):
    body = 'fill="%s"' % filled if filled else STROKE.format(c=colour, w=width)
    return '<circle cx="%g" cy="%g" r="%g" %s/>' % (cx, cy, r, body)


# --- Shared shapes -------------------------------------------------------------------------------

def page(colour=GREY):
    return path("M4 1.75h5.5l3 3v9.5H4z M9.5 1.75v3h3", colour)


def page_lines(colour=GREY):
    return line([(6, 7.5), (10.5, 7.5)], colour, 1.2) + line([(6, 10), (10.5, 10)], colour, 1.2) + \
        line([(6, 12.5), (9, 12.5)], colour, 1.2)


def folder(colour=FOLDER):
    return path("M1.75 4.25v8.5a1 1 0 0 0 1 1h10.5a1 1 0 0 0 1-1v-6.5a1 1 0 0 0-1-1H8l-1.5-2H2.75a1 1 0 0 0-1 1z", colour)


def open_folder(colour=FOLDER):
    return path("M1.75 12.75v-8.5a1 1 0 0 1 1-1h3.75l1.5 2h4.25a1 1 0 0 1 1 1v1.5 M1.75 12.75l2-5h11l-2 6H2.75a1 1 0 0 1-1-1z",
                colour)


def plus(cx, cy, size=2.5, colour=GREEN):
    return line([(cx - size, cy), (cx + size, cy)], colour) + line([(cx, cy - size), (cx, cy + size)], colour)


def play(x, y, h, colour=GREEN):
    return fill("M%g %gv%gl%g %gz" % (x, y, h, h * 0.8, -h / 2), colour)


def badge(colour, letter_paths):
    return rect(1.5, 1.5, 13, 13, 3, None, 0, colour) + letter_paths


def letter_m(colour=LIGHT):
    return line([(4.25, 11.5), (4.25, 4.5), (8, 8.75), (11.75, 4.5), (11.75, 11.5)], colour, 1.6)


def letter_p(colour=LIGHT):
    return path("M5.5 12V4.5h3a2.25 2.25 0 0 1 0 4.5h-3", colour, 1.6)


def letter_t(colour=LIGHT):
    return line([(4.5, 4.75), (11.5, 4.75)], colour, 1.6) + line([(8, 4.75), (8, 12)], colour, 1.6)


def file_with_band(colour):
    return path("M4 1.75h5.5l3 3v9.5H4z M9.5 1.75v3h3") + rect(2.5, 9, 8, 4.5, 1, None, 0, colour)


def cube(colour, solid):
    body = path("M8 1.75l5.5 3v6.5L8 14.25l-5.5-3v-6.5z M2.5 4.75L8 7.75l5.5-3 M8 7.75v6.5", colour)
    if solid:
        body = fill("M8 1.75l5.5 3v6.5L8 14.25l-5.5-3v-6.5z", colour) + \
            path("M2.5 4.75L8 7.75l5.5-3 M8 7.75v6.5", DARK, 1.2)
    return body


def var_box(colour, marked):
    body = path("M4.5 4H3v8h1.5 M11.5 4H13v8h-1.5", colour) + line([(6, 8), (10, 8)], colour, 2)
    if marked:
        body += circle(13, 3, 2, filled=ORANGE)
    return body


def chevron(direction, colour=GREY, cx=8, cy=8, size=3.25):
    s = size
    points = {
        "left": [(cx + s / 2, cy - s), (cx - s / 2, cy), (cx + s / 2, cy + s)],
        "right": [(cx - s / 2, cy - s), (cx + s / 2, cy), (cx - s / 2, cy + s)],
        "up": [(cx - s, cy + s / 2), (cx, cy - s / 2), (cx + s, cy + s / 2)],
        "down": [(cx - s, cy - s / 2), (cx, cy + s / 2), (cx + s, cy - s / 2)],
    }[direction]
    return line(points, colour, 1.6)


def cross(colour, inset=4):
    return line([(inset, inset), (16 - inset, 16 - inset)], colour, 1.6) + \
        line([(16 - inset, inset), (inset, 16 - inset)], colour, 1.6)


# --- The icons -----------------------------------------------------------------------------------

ICONS = {
    # Running code.
    "execute": play(4.5, 2.5, 11),
    "execute_all": play(2, 3, 10) + play(8, 3, 10),
    "execute_line": play(3, 1.75, 9) + line([(2.5, 13.75), (13.5, 13.75)], GREEN, 1.6),
    # Diagnostics and state.
    "error": circle(8, 8, 6.5, filled=RED) + cross(LIGHT, 5.5),
    "warning": fill("M8 1.5l7 12.75H1z", AMBER) + line([(8, 6), (8, 9.5)], DARK, 1.6) + circle(8, 12, 0.9, filled=DARK),
    "modified": circle(8, 8, 3.5, filled=LIGHT),
    # Languages: tab badges and workspace file icons.
    "mel": badge(TEAL, letter_m()),
    "python": badge(BLUE, letter_p(YELLOW)),
    "text": badge("#7d8591", letter_t()),
    "mel_icon": file_with_band(TEAL),
    "python_icon": file_with_band(BLUE) + rect(7, 10.5, 3.5, 3, 0.5, None, 0, YELLOW),
    "text_icon": page() + page_lines(),
    # Files and folders.
    "new_file": path("M9 14.25H4V1.75h5.5l3 3v3.5 M9.5 1.75v3h3") + plus(12, 12.25, 2.25),
    "new_folder": path("M8.5 13.75H2.75a1 1 0 0 1-1-1v-8.5a1 1 0 0 1 1-1h3.75l1.5 2h5.25a1 1 0 0 1 1 1v2", FOLDER)
    + plus(12, 11.75, 2.25),
    "folder_closed": folder(),
    "folder_opened": open_folder(),
    "write_to_file": page() + line([(8.25, 5.5), (8.25, 12)], GREEN) + line([(6, 9.75), (8.25, 12), (10.5, 9.75)], GREEN),
    "save_all": path("M6 1.75h7.25v10") + path("M2.75 4.25h6.5l1.5 1.5v8.5h-8z") + line([(5, 11.5), (8.5, 11.5)], GREY, 1.2),
    "close_all": rect(1.75, 1.75, 12.5, 12.5, 2) + cross(GREY, 5.5),
    # Views and lists.
    "refresh": path("M13 8a5 5 0 1 1-1.46-3.54 M13 2.5v3h-3"),
    "collapse": rect(2.5, 2.5, 11, 11, 2) + line([(5.5, 8), (10.5, 8)]),
    "list_code_editors": line([(2.5, 4), (13.5, 4)]) + line([(2.5, 8), (13.5, 8)]) + line([(2.5, 12), (9, 12)])
    + chevron("down", GREY, 12.5, 12, 2),
    "sort-by-alphabet": line([(2.5, 3.5), (9, 3.5)]) + line([(2.5, 7), (7.5, 7)]) + line([(2.5, 10.5), (6, 10.5)])
    + line([(12, 2.5), (12, 13.5)]) + line([(9.75, 11.25), (12, 13.5), (14.25, 11.25)]),
    "scroll_left": chevron("left"),
    "scroll_right": chevron("right"),
    "view_collapsed": chevron("right"),
    "view_expanded": chevron("down"),
    "next": line([(8, 2.5), (8, 13.5)]) + line([(3.75, 9.25), (8, 13.5), (12.25, 9.25)]),
    "previous": line([(8, 13.5), (8, 2.5)]) + line([(3.75, 6.75), (8, 2.5), (12.25, 6.75)]),
    "close": cross(GREY),
    "close_white": cross(LIGHT),
    "clear_field": line([(2.5, 4), (13.5, 4)]) + line([(2.5, 8), (7, 8)]) + line([(2.5, 12), (7, 12)])
    + line([(9.5, 8), (13.5, 12)], RED) + line([(13.5, 8), (9.5, 12)], RED),
    "delete_highlight": path("M2.75 4.25h10.5 M6 4.25v-2h4v2 M4.25 4.25l.75 9.5h6l.75-9.5") + line([(7, 6.75), (7, 11.25)], GREY, 1.2)
    + line([(9, 6.75), (9, 11.25)], GREY, 1.2),
    # Find and replace.
    "match_case": path("M1.75 12.5L4.75 3.5l3 9 M2.75 9.5h4") + path("M12.5 7.5v5 M12.5 10a2 2 0 1 1-4 0 2 2 0 1 1 4 0"),
    "match_word": path("M2.5 4v6 M2.5 8a2 2 0 1 1 4 0 2 2 0 1 1-4 0 M13.5 6v4 M13.5 8a2 2 0 1 1-4 0 2 2 0 1 1 4 0")
    + line([(1.5, 12), (1.5, 13.5), (14.5, 13.5), (14.5, 12)], GREY, 1.2),
    "regular_expression": line([(11, 2.5), (11, 9.5)]) + line([(8, 4.25), (14, 7.75)]) + line([(14, 4.25), (8, 7.75)])
    + rect(2.5, 10.5, 3, 3, 0.5, None, 0, GREY),
    "replace": path("M2.5 9.5v2a2 2 0 0 0 2 2h3.5") + line([(6, 11.5), (8, 13.5), (6, 15.5)])
    + rect(9.25, 9.5, 5, 5, 1, GREEN) + rect(2.5, 2, 6, 5, 1),
    "replace_all": path("M2.5 9.5v2a2 2 0 0 0 2 2h3.5") + line([(6, 11.5), (8, 13.5), (6, 15.5)])
    + rect(9.25, 9.5, 5, 5, 1, GREEN) + rect(2.5, 2, 5, 4, 1) + rect(9, 2, 5, 4, 1),
    "find_in_selection": path("M2 4V2h2 M12 2h2v2 M14 12v2h-2 M4 14H2v-2") + line([(5, 6), (11, 6)]) + line([(5, 10), (9, 10)]),
    # Outline kinds.
    "mel_global_proc": cube(TEAL, True),
    "mel_proc": cube(TEAL, False),
    "mel_global_var": var_box(TEAL, False),
    "python_import": path("M9 2.75h3.25a1 1 0 0 1 1 1v8.5a1 1 0 0 1-1 1H9") + line([(2.5, 8), (9.5, 8)], BLUE)
    + line([(7, 5.5), (9.5, 8), (7, 10.5)], BLUE),
    "python_main": circle(8, 8, 6.25, GREY) + play(6.25, 4.75, 6.5),
    "python_method": cube(PURPLE, True),
    "python_static_method": cube(PURPLE, False),
    "python_class_method": cube(PURPLE, False) + circle(13, 3, 2, filled=ORANGE),
    "python_class": path("M2.5 3.5h4v3.5h-4z M9.5 9h4v3.5h-4z M4.5 7v4h5", ORANGE),
    "python_variable": var_box(CYAN, False),
    "python_class_variable": var_box(CYAN, True),
    # Activity bar.
    "explorer": path("M5 4.25V1.75h5.5l3 3v7.5H11 M10.5 1.75v3h3") + path("M2.5 4.25H8l3 3v7H2.5z"),
    "search": circle(6.75, 6.75, 4.25) + line([(10, 10), (14, 14)], GREY, 1.8),
    "quick_help": circle(8, 8, 6.25) + path("M6 6.25a2 2 0 1 1 2.75 1.85c-.5.2-.75.6-.75 1.15v.5") + circle(8, 11.75, 0.9, filled=GREY),
    "settings": circle(8, 8, 2.25)
    + path("M8 1.75v2 M8 12.25v2 M1.75 8h2 M12.25 8h2 M3.6 3.6l1.4 1.4 M11 11l1.4 1.4 M3.6 12.4L5 11 M11 5l1.4-1.4"),
    "debug": rect(5, 5.25, 6, 8.75, 3) + path("M6.25 5.25a1.75 1.75 0 0 1 3.5 0 M8 8v6")
    + path("M5 8.5H2.25 M5 11.5H2.75 M11 8.5h2.75 M11 11.5h2.25 M5.5 5.75L4 4 M10.5 5.75L12 4"),
    # The Debug view's run controls.
    "debug_continue": rect(3, 3.5, 2, 9, 0.5, None, 0, GREEN) + play(7, 3.5, 9),
    "debug_stop": rect(3.5, 3.5, 9, 9, 1.5, None, 0, RED),
    "step_over": path("M2.75 9.5a5.25 5.25 0 0 1 10.25-1.5", BLUE) + line([(10.5, 7.25), (13, 8), (13.75, 5.5)], BLUE)
    + circle(8, 13, 1.5, filled=GREY),
    "step_into": line([(8, 1.75), (8, 9)], BLUE) + line([(5, 6.25), (8, 9.25), (11, 6.25)], BLUE)
    + circle(8, 13, 1.5, filled=GREY),
    "step_out": line([(8, 9.5), (8, 2.25)], BLUE) + line([(5, 5.25), (8, 2.25), (11, 5.25)], BLUE)
    + circle(8, 13, 1.5, filled=GREY),
    "run_to_cursor": line([(2, 8), (10, 8)], BLUE) + line([(7, 5), (10, 8), (7, 11)], BLUE)
    + line([(13.25, 3), (13.25, 13)], GREY),
}

# Activity bar icons are drawn larger; everything else at tab and tool button size.
SIZES = {name: 24 for name in ("explorer", "search", "quick_help", "settings", "debug")}


def svg(body):
    return ('<svg xmlns="http://www.w3.org/2000/svg" width="16" height="16" viewBox="0 0 16 16">%s</svg>\n' % body)


def main():
    out = sys.argv[1] if len(sys.argv) > 1 else os.path.join(os.path.dirname(__file__), "..", "resources", "icons")
    os.makedirs(out, exist_ok=True)
    for name, body in sorted(ICONS.items()):
        with open(os.path.join(out, name + ".svg"), "w", encoding="utf-8") as handle:
            handle.write(svg(body))
    with open(os.path.join(out, "sizes.txt"), "w", encoding="utf-8") as handle:
        for name in sorted(ICONS):
            handle.write("%s %d\n" % (name, SIZES.get(name, 16)))


if __name__ == "__main__":
    main()
