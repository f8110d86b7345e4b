# Prints one line about a JUnit report of ctest: how many tests passed, and how many did not and
# why.

function text(xml)
{
    gsub(/&lt;/, "<", xml)
    gsub(/&gt;/, ">", xml)
    gsub(/&quot;/, "\"", xml)
    gsub(/&apos;/, "'", xml)
    gsub(/&amp;/, "\\&", xml)
    return xml
}

/^\t<testcase / {
    match($0, / status="[a-z]*"/)
    status = substr($0, RSTART + 9, RLENGTH - 10)
    ++count[status]
}

# GoogleTest prints the reason in the next line. A test without a reason counts as not run.
/: Skipped$/ && status == "notrun" {
    getline
    ++skipped[text($0)]
    --count[status]
    status = ""
}

END {
    printf "%d passed", count["run"]
    if (count["fail"]) printf ", %d failed", count["fail"]
    if (count["notrun"]) printf ", %d not run", count["notrun"]
    if (count["disabled"]) printf ", %d disabled", count["disabled"]
    for (reason in skipped) printf ", %d skipped (%s)", skipped[reason], reason
    print ""
}
