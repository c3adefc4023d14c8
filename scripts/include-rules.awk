# Who may include whom. Reads sources named by their path from the root; prints violations, exits 1 when there is one.

BEGIN {
    # Folders: what each may include besides itself. "private" adds the private headers of other folders.
    folder["log"] = ""
    folder["common"] = ""  # and two plain values of log/, below
    folder["libdataio"] = "common log"
    folder["movietools"] = "libdataio common log"
    folder["vqf"] = "movietools libdataio common log"
    folder["desktop"] = "movietools libdataio common log"
    folder["python"] = "movietools libdataio common log"
    folder["examples"] = "libdataio common log"
    everything = "log common libdataio movietools vqf desktop tests private"
    folder["tests"] = everything
    folder["bench"] = everything
    folder["fuzz"] = everything
    exception["common", "log/locationinfo.h"] = exception["common", "log/logorigin.h"] = 1

    # Other people's headers: where each may appear. The C++ library, POSIX and Qt Core may appear everywhere.
    confine("boost/", "libdataio tests")
    confine("tiff", "movietools tests bench examples")
    confine("zlib", "movietools tests bench")
    confine("CLI/", "vqf")
    confine("pybind11/", "python")
    confine("gtest/", "tests")
    confine("gmock/", "tests")
    confine("benchmark/", "bench")
    confine("hdf5", "bench")
    confine("H5", "bench")
    confine("QImage", "libdataio movietools vqf desktop python tests bench fuzz examples")

    # Groups of files inside libdataio, and the groups each may include besides itself.
    group("system", "systemcalls filelock")
    group("report", "report")
    group("framing", "chunkframing") # sizes alone, no code
    group("container", "chunkheader chunkreader chunkwriter fdchunkreader fdchunkwriter" \
          " filereader filereserve filewriter movielock payloadbuffer payloadreader readwindow")
    group("records", "chunkindex attributechunk chunkinfo frametimer attributepaletteadaptor pixeltypes" \
          " imagefilelayout plainnumber derived growth movieheader sidedata")
    group("images", "imagewriter imagereader editjournal rescuedframes recordinglog recordingremains remainssearch besidefile" \
          " imagewritervalues framelists movietail roomaccount recordingaids movieedit" \
          " imagereadervalues storedframe fiberquery moviethumbnail")
    group("copying", "imageutilities")
    below["system"] = below["detail"] = below["report"] = below["framing"] = ""
    below["container"] = below["records"] = "system detail report framing"
    below["images"] = below["container"] " container records"
    below["copying"] = below["images"] " images"
    # What the lowest groups take from the folders below libdataio, where that is less than everything.
    only["system"] = only["framing"] = "none"
    only["detail"] = "common/zdpalette.h common/ftransfobase.h"
    forbidden["imagereader", "imagewriter"] = forbidden["imagewriter", "imagereader"] = 1

    for (i = 1; i < ARGC; ++i) {
        name = ARGV[i]
        sub(/.*\//, "", name)
        ours[name] = ARGV[i]
    }
}

function confine(header, folders) { confined[header] = folders }

function group(name, stems,    list, count, i)
{
    count = split(stems, list, " ")
    for (i = 1; i <= count; ++i)
        groupOfStem[list[i]] = name
}

function contains(list, word) { return index(" " list " ", " " word " ") > 0 }

function topFolder(path) { return path ~ /\// ? substr(path, 1, index(path, "/") - 1) : "" }

function stem(path)
{
    sub(/.*\//, "", path)
    sub(/(_p)?\.(h|cpp)$/, "", path)
    return path
}

function groupOf(path)
{
    if (path == "libdataio/export.h")
        return "any"
    if (path ~ /^libdataio\/detail\//)
        return "detail"
    return stem(path) in groupOfStem ? groupOfStem[stem(path)] : ""
}

function violation(text)
{
    printf "%s:%d: %s\n", FILENAME, FNR, text
    failed = 1
}

function checkThirdParty(header,    known)
{
    for (known in confined)
        if (index(header, known) == 1 && !contains(confined[known], from))
            violation(from "/ does not use <" header ">")
    if (header ~ /^boost\// && header !~ /^boost\/date_time/)
        violation("of Boost only Date_Time is used, not <" header ">")
    if (header ~ /^Qt[A-Z][A-Za-z0-9]*\// && header !~ /^QtCore\//)
        violation("Qt classes are included by their own name, not <" header ">")
    if (header ~ /^[a-z0-9_]+\.h$/ && header in ours)
        violation("spelled from the root this is <" ours[header] ">")
}

function checkFolder(header, to)
{
    if (to == from || contains(folder[from], to) || (from, header) in exception)
        return
    violation(from "/ may not include " to "/ (<" header ">)")
}

function checkPrivacy(header, to)
{
    if (header !~ /_p\.h$/)
        return
    if (to != from && !contains(folder[from], "private"))
        violation("<" header "> is private to " to "/")
    if (FILENAME ~ /\.h$/ && FILENAME !~ /_p\.h$/ && contains("log common libdataio", from))
        violation("a public header includes the private <" header ">")
}

function checkGroup(header, to,    mine, theirs)
{
    mine = groupOf(FILENAME)
    if (mine == "any" && to != "")
        violation("the export header includes nothing of ours")
    if (to != "libdataio") {
        if (mine in only && !contains(only[mine], header))
            violation("the group " mine " may not include <" header ">")
        return
    }
    theirs = groupOf(header)
    if (theirs == "")
        violation("<" header "> belongs to no group; name it in include-rules.awk")
    else if (theirs != "any" && theirs != mine && !contains(below[mine], theirs))
        violation("the group " mine " may not include the group " theirs " (<" header ">)")
    if ((stem(FILENAME), stem(header)) in forbidden)
        violation("reader and writer do not include each other (<" header ">)")
}

FNR == 1 {
    from = topFolder(FILENAME)
    if (from == "libdataio" && groupOf(FILENAME) == "")
        violation("this file belongs to no group; name it in include-rules.awk")
}

/^[ \t]*#[ \t]*include[ \t]*"/ {
    violation("includes are spelled <from/the/root.h>")
    next
}

/^[ \t]*#[ \t]*include[ \t]*</ {
    header = $0
    sub(/^[^<]*</, "", header)
    sub(/>.*/, "", header)
    to = topFolder(header)
    if (!(to in folder)) {
        checkThirdParty(header)
        next
    }
    checkFolder(header, to)
    checkPrivacy(header, to)
    if (from == "libdataio")
        checkGroup(header, to)
}

END { exit failed }
