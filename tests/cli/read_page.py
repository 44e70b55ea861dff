"""read_page.py FILE: reads a page as strictly as XML is read and says in JSON what it holds: its title, its text,
whether its policy admits its style, and whatever it should not hold."""

import base64
import hashlib
import json
import re
import sys
import xml.etree.ElementTree as tree

PREFIX = "{http://www.w3.org/1999/xhtml}"
ALLOWED = {"html", "head", "meta", "style", "title", "body", "main", "header", "section", "footer"}
ALLOWED |= {"h1", "h2", "h3", "p", "dl", "dt", "dd", "ol", "ul", "li"}
ATTRIBUTES = {"lang", "charset", "http-equiv", "content", "name", "class"}

root = tree.parse(sys.argv[1]).getroot()
elements = list(root.iter())
policies = [e.get("content") for e in elements if e.get("http-equiv") == "Content-Security-Policy"]
style = root.find(f".//{PREFIX}style").text
digest = base64.b64encode(hashlib.sha256(style.encode()).digest()).decode()
foreign = [e.tag for e in elements if e.tag.removeprefix(PREFIX) not in ALLOWED]
foreign += [name for e in elements for name in e.attrib if name not in ATTRIBUTES]
print(
    json.dumps(
        {
            "title": root.find(f".//{PREFIX}title").text,
            "text": re.sub(r"\s+", " ", "".join(root.find(f"{PREFIX}body").itertext())),
            "links": len(root.findall(f".//{PREFIX}ol[@class='chain']/{PREFIX}li")),
            "stamps": len(root.findall(f".//{PREFIX}li[@class='stamp']")),
            "policy": policies == [f"default-src 'none'; style-src 'sha256-{digest}'"],
            "digest": digest,
            "foreign": foreign,
        }
    )
)
