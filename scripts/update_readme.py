#!/usr/bin/env python3
"""Regenerates the generated parts of README.md.

  - Between "<!-- snippet:NAME -->" and "<!-- /snippet -->": the lines of
    examples/*.cpp between "// tour:NAME" and "// end tour", dedented, as a
    C++ code block. The examples are compiled and run as tests, so the README
    shows only code that builds and does what it says.
  - Between "<!-- messages -->" and "<!-- /messages -->": one table per catalog
    of platform/core/resources/messages.txt, the texts compiled into the core.

With --check, changes nothing and exits 1 when README.md is out of date.
"""
import pathlib
import re
import sys
import textwrap

ROOT = pathlib.Path(__file__).resolve().parent.parent


def snippets():
    found = {}
    for source in sorted((ROOT / "examples").glob("*.cpp")):
        lines = source.read_text(encoding="utf-8").splitlines()
        name = None
        for line in lines:
            start = re.fullmatch(r"\s*// tour:([\w-]+)", line)
            if start:
                name, body = start.group(1), []
            elif name and line.strip() == "// end tour":
                if name in found:
                    sys.exit(f"snippet {name!r} defined twice")
                found[name] = textwrap.dedent("\n".join(body)).strip("\n")
                name = None
            elif name:
                body.append(line)
    return found


def message_tables():
    catalogs = []
    resource = ROOT / "platform/core/resources/messages.txt"
    for raw in resource.read_text(encoding="utf-8").splitlines():
        line = raw.strip()
        if not line or line.startswith("#"):
            continue
        if line.startswith("[") and line.endswith("]"):
            catalogs.append((line[1:-1], []))
            continue
        key, _, text = line.partition("=")
        catalogs[-1][1].append((key.strip(), text.strip()))
    out = []
    for catalog, entries in catalogs:
        out += [f"Catalog `{catalog}`:", "", "| Key | Text |", "|---|---|"]
        out += [f"| `{key}` | {text.replace('|', '&#124;')} |" for key, text in entries]
        out.append("")
    return "\n".join(out).rstrip("\n")


def render(readme):
    code = snippets()

    def fill_snippet(match):
        name = match.group(1)
        if name not in code:
            sys.exit(f"README names snippet {name!r}, which no example defines")
        return f"<!-- snippet:{name} -->\n```cpp\n{code[name]}\n```\n<!-- /snippet -->"

    readme = re.sub(r"<!-- snippet:([\w-]+) -->.*?<!-- /snippet -->", fill_snippet, readme,
                    flags=re.S)
    return re.sub(r"<!-- messages -->.*?<!-- /messages -->",
                  lambda _: f"<!-- messages -->\n{message_tables()}\n<!-- /messages -->", readme,
                  flags=re.S)


def main():
    path = ROOT / "README.md"
    current = path.read_text(encoding="utf-8")
    updated = render(current)
    if "--check" in sys.argv[1:]:
        if updated != current:
            print("README.md is out of date: run scripts/update_readme.py", file=sys.stderr)
            return 1
        return 0
    if updated != current:
        path.write_text(updated, encoding="utf-8")
    return 0


if __name__ == "__main__":
    sys.exit(main())
