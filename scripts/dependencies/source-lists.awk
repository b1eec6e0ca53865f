# Reads the machine's package sources in both of apt's formats and prints, as one-line "deb-src"
# entries, those that carry the given release (variable "release").

function release_suites(suites,   i, n, words, kept) {
  n = split(suites, words)
  for (i = 1; i <= n; i++)
    if (words[i] == release || index(words[i], release "-") == 1) kept = kept " " words[i]
  return kept
}

function print_entries(uris, suites, components, options,   i, j, n, m, uri, suite) {
  n = split(uris, uri)
  m = split(release_suites(suites), suite)
  for (i = 1; i <= n; i++)
    for (j = 1; j <= m; j++) print "deb-src" options " " uri[i] " " suite[j] " " components
}

function end_stanza() {
  if (field["types"] ~ /(^| )deb( |$)/ && field["enabled"] != "no")
    print_entries(field["uris"], field["suites"], field["components"],
                  field["signed-by"] ~ /^\// ? " [signed-by=" field["signed-by"] "]" : "")
  delete field
}

FNR == 1 { end_stanza() }
/^[ \t]*#/ { next }

FILENAME ~ /\.list$/ {
  if ($1 != "deb") next
  options = ""
  first = 2
  if ($2 ~ /^\[/) {
    do options = options " " $(first); while ($(first++) !~ /\]$/ && first <= NF)
  }
  components = ""
  for (i = first + 2; i <= NF; i++) components = components " " $i
  print_entries($(first), $(first + 1), components, options)
  next
}

/^[ \t]*$/ { end_stanza(); next }
{
  colon = index($0, ":")
  if (colon == 0) next
  value = substr($0, colon + 1)
  sub(/^[ \t]+/, "", value)
  field[tolower(substr($0, 1, colon - 1))] = value
}

END { end_stanza() }
