# Makes a Debian changelog of one entry, the newest, out of CHANGELOG.md, in lines of 78 columns.
# usage: awk -v maintainer=NAME -v date=DATE -f changelog.awk CHANGELOG.md

function write_item(  count, words, i, line) {
  count = split(item, words, " ")
  line = "  *"
  for (i = 1; i <= count; ++i) {
    if (length(line) + 1 + length(words[i]) > 78) {
      print line
      line = "   "
    }
    line = line " " words[i]
  }
  if (count > 0) print line
  item = ""
}

/^## / {
  if (version != "") exit
  version = $2
  print "quarrypack (" version ") unstable; urgency=medium\n"
}
version != "" && /^- / { write_item(); item = substr($0, 3) }
version != "" && /^  / { item = item " " $0 }
END {
  write_item()
  print "\n -- " maintainer "  " date
}
