"""Fills the English numerus forms of a Qt .ts catalogue.

A source text such as "Deleted %n oldest recording(s)" gets the forms
"Deleted %n oldest recording" and "Deleted %n oldest recordings". Forms that
are already filled (by hand, for texts with other singulars) are kept.
"""
import sys
import xml.etree.ElementTree as ET

path = sys.argv[1]
tree = ET.parse(path)
changed = False
for message in tree.iter("message"):
    if message.get("numerus") != "yes":
        continue
    source = message.findtext("source") or ""
    translation = message.find("translation")
    forms = translation.findall("numerusform")
    if forms and all((f.text or "").strip() for f in forms):
        continue
    for f in forms:
        translation.remove(f)
    for text in (source.replace("(s)", ""), source.replace("(s)", "s")):
        form = ET.SubElement(translation, "numerusform")
        form.text = text
    translation.attrib.pop("type", None)
    changed = True
if changed:
    tree.write(path, encoding="utf-8", xml_declaration=True)
