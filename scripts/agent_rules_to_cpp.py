#!/usr/bin/env python3
"""Turns a user-agent rules file (YAML: user_agent_parsers, os_parsers,
device_parsers) into a C++ source with the rules as constant tables, so
that the program needs neither the file nor a YAML reader when it runs.

Usage: agent_rules_to_cpp.py RULES.yaml OUT.cpp
"""
import sys

import yaml


def literal(text):
    """A C string literal for text (UTF-8), or nullptr for None."""
    if text is None:
        return "nullptr"
    out = []
    for byte in str(text).encode("utf-8"):
        ch = chr(byte)
        if ch in '"\\?':
            out.append("\\" + ch)
        elif 32 <= byte < 127:
            out.append(ch)
        else:
            out.append("\\%03o" % byte)
    return '"' + "".join(out) + '"'


def rows(parsers, fields):
    for rule in parsers:
        caseless = "true" if rule.get("regex_flag") == "i" else "false"
        values = ", ".join(literal(rule.get(f)) for f in fields)
        yield "    {%s, %s, %s},\n" % (literal(rule["regex"]), caseless, values)


def main():
    source, target = sys.argv[1], sys.argv[2]
    with open(source, encoding="utf-8") as f:
        rules = yaml.safe_load(f)
    parts = ['// Generated from %s by scripts/agent_rules_to_cpp.py; do not edit.\n' % source.split("/")[-1],
             '#include "analysis/agent_rules_table.h"\n\n']
    tables = [
        ("kBrowserRules", "user_agent_parsers", ["family_replacement", "v1_replacement"]),
        ("kSystemRules", "os_parsers", ["os_replacement", "os_v1_replacement"]),
        ("kDeviceRules", "device_parsers", ["device_replacement", None]),
    ]
    for name, key, fields in tables:
        parts.append("const AgentRule %s[] = {\n" % name)
        parts.extend(rows(rules[key], fields))
        parts.append("};\n")
        parts.append("const int %sCount = sizeof %s / sizeof %s[0];\n\n" % (name, name, name))
    tmp = target + ".tmp"
    with open(tmp, "w", encoding="ascii") as f:
        f.write("".join(parts))
    import os
    os.replace(tmp, target)


if __name__ == "__main__":
    main()
