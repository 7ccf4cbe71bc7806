#!/usr/bin/env python3
"""Checks every #include "folder/..." of the program against LAYERS, and that no folder's
files include one another in a circle. Exit 1 with one line per offence."""
import os
import re
import sys

root = sys.argv[1] if len(sys.argv) > 1 else os.path.join(os.path.dirname(__file__), "..")
INCLUDE = re.compile(r'^\s*#\s*include\s+"([^"]+)"', re.M)
SOURCES = (".c", ".cpp", ".h", ".rc")


def read_layers():
    rank, forbidden, plugin, free, debts, only = {}, set(), [], set(), set(), {}
    level = 0
    for raw in open(os.path.join(root, "LAYERS"), encoding="utf-8"):
        line = raw.split("#", 1)[0].strip()
        if not line:
            continue
        words = line.split()
        if words[0] == "forbid":
            forbidden.add((words[1], words[2]))
        elif words[0] == "plugin":
            plugin = words[1:]
        elif words[0] == "only":
            only[words[1]] = words[2:]
        elif words[0] == "free":
            free.update(words[1:])
        elif "->" in line:
            debts.add(tuple(w.strip() for w in line.split("->")))
        else:
            for folder in words:
                rank[folder] = level
            level += 1
    return rank, forbidden, plugin, free, debts, only


def program_files():
    for top in sorted(os.listdir(root)):
        if top.startswith(".") or top == "build" or not os.path.isdir(os.path.join(root, top)):
            continue
        for folder, dirs, files in os.walk(os.path.join(root, top)):
            dirs.sort()
            for name in sorted(files):
                if name.endswith(SOURCES):
                    path = os.path.join(folder, name)
                    yield os.path.relpath(path, root).replace(os.sep, "/")


def folder_of(rel):
    return rel.split("/", 1)[0]


def main():
    rank, forbidden, plugin, free, debts, only = read_layers()
    offences, used_debts = [], set()
    graph = {}
    for rel in program_files():
        top = folder_of(rel)
        if top in free:
            continue
        text = open(os.path.join(root, rel), encoding="utf-8", errors="replace").read()
        for header in INCLUDE.findall(text):
            if "/" not in header:
                continue  # a header of its own folder or of a library
            target = folder_of(header)
            if top == "plugins":
                own = rel.split("/")[1]
                ok = header.startswith(f"plugins/{own}/") or any(
                    header == p or header.startswith(p.rstrip("/") + "/") for p in plugin)
            elif top in only and target != top:
                ok = header in only[top]
            elif target == top:
                ok = True
                module = lambda p: os.path.splitext(p)[0]
                graph.setdefault(module(rel), set()).add(module(header))
            elif target == "plugins":
                ok = header.startswith("plugins/include/")
            else:
                ok = (top in rank and target in rank and rank[target] > rank[top]
                      and (top, target) not in forbidden)
            if ok:
                continue
            if (rel, header) in debts:
                used_debts.add((rel, header))
                continue
            offences.append(f"{rel}: includes {header} against LAYERS")
    for rel, header in sorted(debts - used_debts):
        offences.append(f"LAYERS: the debt '{rel} -> {header}' is paid: remove its line")
    offences += circles(graph)
    for line in offences:
        print(line)
    return 1 if offences else 0


def circles(graph):
    """Strongly connected groups of two or more modules (a .cpp and its .h are one module)."""
    index, low, stack, on, found, counter = {}, {}, [], set(), [], [0]

    def visit(v):
        index[v] = low[v] = counter[0]
        counter[0] += 1
        stack.append(v)
        on.add(v)
        for w in graph.get(v, ()):
            if w == v:
                continue
            if w not in index:
                visit(w)
                low[v] = min(low[v], low[w])
            elif w in on:
                low[v] = min(low[v], index[w])
        if low[v] == index[v]:
            group = []
            while True:
                w = stack.pop()
                on.discard(w)
                group.append(w)
                if w == v:
                    break
            if len(group) > 1:
                found.append("include circle: " + " -> ".join(sorted(group)))

    sys.setrecursionlimit(10000)
    for v in sorted(graph):
        if v not in index:
            visit(v)
    return found


if __name__ == "__main__":
    sys.exit(main())
