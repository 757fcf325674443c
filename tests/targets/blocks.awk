# The fenced blocks behind the lines <!-- NAME --> of a document, one behind the other: awk -v name=NAME -f blocks.awk
$0 == "<!-- " name " -->" { armed = 1; next }
armed && /^```/ { if (inside) armed = 0; inside = !inside; next }
inside
