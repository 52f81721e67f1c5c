#!/bin/sh
# Doxygen input filter for the Markdown pages: gives every "## " and "### " heading the id
# that a git host derives from its text (lower case, punctuation dropped, blanks as "-"),
# so the pages' "#anchor" links resolve in the API docs as they do on the host. Ids are
# global there, so a link to another page's heading ("docs/guide.md#id") becomes "#id".
# Headings inside code blocks are left alone.
exec awk '
  /^```/ { code = !code }
  !code && /^###? / {
    id = tolower($0); sub(/^#+ /, "", id)
    gsub(/[^a-z0-9 _-]/, "", id); gsub(/ /, "-", id)
    print $0 " {#" id "}"; next
  }
  { gsub(/\]\([A-Za-z0-9_.\/-]+\.md#/, "](#"); print }' "$1"
