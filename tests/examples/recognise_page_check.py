"""Reads pages as XML and as HTML and says what is wrong with them: a line "PLACE FAULT" for each fault of the file at
that place. Usage: recognise_page_check.py FILE..."""
import html.parser
import re
import sys
import xml.etree.ElementTree as xml

VOID = {"meta", "br", "hr", "img", "link", "input", "col"}
NUMBER = re.compile(r"[-+]?(\d+\.?\d*|\.\d+)(e[-+]?\d+)?", re.I)
NUMERIC = {"x", "y", "x1", "x2", "y1", "y2", "width", "height", "viewBox", "d", "transform"}
faults = []


def local(tag):
    return tag.rsplit("}", 1)[-1]


class Nesting(html.parser.HTMLParser):
    """Start and end tags as an HTML reader sees them, who knows nothing of '<p/>'."""

    def __init__(self):
        super().__init__()
        self.open = []

    def handle_starttag(self, tag, attributes):
        if tag not in VOID:
            self.open.append(tag)

    def handle_startendtag(self, tag, attributes):
        if "svg" not in self.open and tag not in VOID:
            faults.append(f"<{tag}/> is no HTML")

    def handle_endtag(self, tag):
        if not self.open or self.open.pop() != tag:
            faults.append(f"</{tag}> out of place")


def check_numbers(element):
    for name, value in element.attrib.items():
        if local(name) not in NUMERIC:
            continue
        for word in re.split(r"[\s,()]+", re.sub(r"(?<=\d)[MZ]|[MZ](?=[-\d]|$)", " ", value)):
            if word and word not in ("translate", "rotate") and not NUMBER.fullmatch(word):
                faults.append(f"{local(element.tag)} {name}: {word!r} is no number")
    if local(element.tag) != "style" and element.text:
        if re.search(r"(?<![\w])-?(nan|inf)(?![\w])", element.text, re.I):
            faults.append(f"no number in: {element.text}")


def check_tree(root):
    ids = [e.get("id") for e in root.iter() if e.get("id")]
    for one in sorted(set(ids)):
        if ids.count(one) > 1:
            faults.append(f"{ids.count(one)} elements have the id {one}")
    for element in root.iter():
        tag = local(element.tag)
        check_numbers(element)
        for name, value in element.attrib.items():
            if local(name) in ("href", "src") and not re.match(r"#|data:image/png;base64,", value):
                faults.append(f"{tag} needs {value[:60]}")
            if local(name) == "href" and value.startswith("#") and value[1:] not in ids:
                faults.append(f"a link leads nowhere: {value}")
            if local(name).startswith("on"):
                faults.append(f"{tag} has a script")
        for name in (element.get("aria-labelledby") or "").split():
            if name not in ids:
                faults.append(f"{tag} is labelled by {name}, which is not there")
        for clip in re.findall(r"url\(#(.*?)\)", element.get("clip-path") or ""):
            if clip not in ids:
                faults.append(f"a clip leads nowhere: {clip}")
        if tag in ("script", "iframe", "object"):
            faults.append(f"{tag} in the page")
        if tag == "svg":
            children = {local(child.tag): (child.text or "").strip() for child in element}
            if not children.get("title") or not children.get("desc") or element.get("role") != "img":
                faults.append("a picture without a title or a text")
        if tag == "table":
            rows = [row for row in element.iter() if local(row.tag) == "tr"]
            if len({len(row) for row in rows}) != 1 or len(rows) < 2:
                faults.append(f"rows of {sorted({len(row) for row in rows})} cells in a table of {len(rows)}")
            if not element.get("aria-labelledby"):
                faults.append("a table without a caption")
        if tag == "th" and not element.get("scope"):
            faults.append("a heading of neither row nor column")


def check(path):
    faults.clear()
    with open(path, "rb") as file:
        text = file.read().decode("utf-8")
    try:
        check_tree(xml.fromstring(text))
    except xml.ParseError as error:
        faults.append(f"no XML: {error}")
    nesting = Nesting()
    nesting.feed(text)
    nesting.close()
    if nesting.open:
        faults.append(f"not ended: {nesting.open}")
    style = re.search(r"<style>(.*?)</style>", text, re.S)
    if not style or re.search(r"[<&]|url\(|@import", style[1]):
        faults.append("the style sheet is missing, or no page of its own")
    if not text.startswith("<!DOCTYPE html>"):
        faults.append("an old way of HTML")
    return list(faults)


for place, path in enumerate(sys.argv[1:]):
    for fault in check(path):
        print(place, fault.replace("\n", " "))
print("done")
