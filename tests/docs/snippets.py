"""Cuts the C++ out of a document and makes one header of it, in which compilers name the document's lines.

Usage: snippets.py DOCUMENT HEADER
"""
import sys


def blocks(document, language):
    """The fenced blocks of a language, each with the number of its first line."""
    inside = None
    for number, line in enumerate(open(document, encoding="utf-8"), 1):
        if inside is None and line.rstrip() == f"```{language}":
            inside = (number + 1, [])
        elif inside is not None and line.rstrip() == "```":
            yield inside
            inside = None
        elif inside is not None:
            inside[1].append(line)


def main():
    document, header = sys.argv[1:]
    includes, bodies = set(), []
    for first, lines in blocks(document, "cpp"):
        includes.update(line for line in lines if line.startswith("#include"))
        body = ("\n" if line.startswith("#include") else line for line in lines)
        bodies.append(f'#line {first} "{document}"\n' + "".join(body))
    if not bodies:
        sys.exit(f"{document}: no C++")
    with open(header, "w", encoding="utf-8") as output:
        output.write("#pragma once\n" + "".join(sorted(includes)) + "namespace snippets {\nnamespace {\n")
        output.write("".join(bodies) + "} // namespace\n} // namespace snippets\n")


if __name__ == "__main__":
    main()
