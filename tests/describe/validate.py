"""Check documents against a JSON Schema: validate.py SCHEMA DOCUMENT. Says what does not fit; 77 without jsonschema."""
import json
import sys

try:
    import jsonschema
except ImportError:
    sys.exit(77)

with open(sys.argv[1], encoding="utf-8") as schema, open(sys.argv[2], encoding="utf-8") as document:
    validator = jsonschema.Draft7Validator(json.load(schema))
    sections = json.load(document)["sections"]
broken = 0
for index, section in enumerate(sections):
    for error in validator.iter_errors({"sections": [section]}):
        broken += 1
        detail = jsonschema.exceptions.best_match([error])
        print(index, list(detail.absolute_path), detail.message[:300])
print(len(sections), "sections,", broken, "errors")
sys.exit(1 if broken else 0)
