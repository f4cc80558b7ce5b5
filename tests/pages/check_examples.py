#!/usr/bin/env python3
"""Checks what write_examples writes: reports by their schema, drawings and the contact sheet by an XML parser.

    check_examples.py WRITER SCHEMA DOCUMENT

DOCUMENT is a Markdown file whose blocks of JSON must fit the schema as well.
"""
import base64
import json
import pathlib
import re
import subprocess
import sys
import tempfile
import xml.etree.ElementTree as ElementTree

try:
    import jsonschema
except ImportError:
    sys.exit("needs python3-jsonschema: apt-get install python3-jsonschema")

SVG = "{http://www.w3.org/2000/svg}"
LAYERS = ["scan", "frame", "kept", "lines", "points", "output", "dropped", "extremes", "centre", "legend"]


def refuse_constant(name):
    raise ValueError(f"{name} is no JSON")


def check_report(text, validator):
    lines = [json.loads(line, parse_constant=refuse_constant) for line in text.splitlines()]
    assert "summary" in lines[-1] and len(lines) > 7, "six examples, a page that was not read by each code, a summary"
    for line in lines:
        validator.validate(line)
        check_that_changes_show(line, validator)
    codes = validator.schema["$defs"]["page"]["properties"]["code"]["enum"]
    assert [line["code"] for line in lines[6:-1]] == codes, "the schema knows all codes and no more"
    assert lines[0]["frame"] and lines[0]["edges"] and lines[0]["to_source"]


def check_that_changes_show(line, validator):
    """A field more or less, anywhere but in the times, is noticed."""
    if "ms" in line:
        line = {**line, "ms": {}}
    for change in changed(line):
        assert not validator.is_valid(change), f"the schema takes {change}"


def changed(value):
    """The value with one field left out or added, here or further in."""
    if isinstance(value, list):
        for i, item in enumerate(value):
            for change in changed(item):
                yield value[:i] + [change] + value[i + 1:]
    if not isinstance(value, dict) or not value:
        return
    yield {**value, "more": 1}
    for name, item in value.items():
        yield {other: value[other] for other in value if other != name}
        for change in changed(item):
            yield {**value, name: change}


def check_drawing(path):
    root = ElementTree.parse(path).getroot()
    assert root.tag == SVG + "svg"
    ids = [group.get("id") for group in root.iter(SVG + "g") if group.get("id")]
    assert ids == LAYERS, f"{path.name}: layers are {ids}"
    assert all(group.find(SVG + "title") is not None for group in root.iter(SVG + "g") if group.get("id"))
    image = root.find(f".//{SVG}g[@id='scan']/{SVG}image")
    kind, _, data = image.get("href").partition(",")
    png = base64.b64decode(data, validate=True)
    assert kind == "data:image/png;base64" and png.startswith(b"\x89PNG") and png.endswith(b"IEND\xaeB`\x82")
    width, height = int(root.get("width")), int(root.get("height"))
    assert root.get("viewBox") == f"0 0 {width} {height}"


def check_sheet(path, folder):
    root = ElementTree.parse(path).getroot()
    cards = list(root.iter("a"))
    assert len(cards) == 19
    for card in cards:
        assert card.get("href") == card.find("img").get("src") and card.find("img").get("alt")
    linked = {card.get("href") for card in cards}
    assert {drawing.name for drawing in folder.glob("*.svg")} < linked


def main():
    writer, schema, document = sys.argv[1:]
    schema = json.loads(pathlib.Path(schema).read_text(encoding="utf-8"))
    jsonschema.Draft202012Validator.check_schema(schema)
    validator = jsonschema.Draft202012Validator(schema)
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        subprocess.run([writer, name], check=True)
        check_report((folder / "report.jsonl").read_text(encoding="utf-8"), validator)
        drawings = sorted(folder.glob("*.svg"))
        assert len(drawings) == 18
        for drawing in drawings:
            check_drawing(drawing)
        check_sheet(folder / "index.html", folder)
    blocks = re.findall(r"```json\n(.*?)```", pathlib.Path(document).read_text(encoding="utf-8"), re.DOTALL)
    assert len(blocks) == 2, "the document shows a page and a summary"
    for block in blocks:
        validator.validate(json.loads(block))


main()
