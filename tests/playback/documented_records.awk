# Turns the records of the integration guide into assertions that the compiler checks against the structs: where each
# field stands, its size and type, and that none is left out but for the alignment of 32-bit words.
function Assert(what) { printf "#line %d \"%s\"\nstatic_assert(%s);\n", FNR, FILENAME, what }
function AssertIsAt(place, end) { Assert(place " == " end " || " place " == (" end " + 3) / 4 * 4") }
function CloseRecord() { if (record != "") AssertIsAt("sizeof(" record ")", end) }

BEGIN {
    FS = "[ `|,]+"
    print "#include <cstddef>\n#include <type_traits>\n#include \"bridges/keytable.h\"\n#include \"kbl_interprocess.h\""
    print "using byte = std::uint8_t;"
}
$4 == "bytes:" {
    CloseRecord()
    record = $2
    end = 0
    ++records
    Assert("sizeof(" record ") == " $3)
}
/^\| [0-9]/ && record != "" {
    field = record "::" $4
    Assert("offsetof(" record ", " $4 ") == " $2 " && sizeof(" field ") == " $3)
    Assert("std::is_same_v<decltype(" field "), " $5 ">")
    AssertIsAt($2, end)
    end = $2 + $3
}
END {
    CloseRecord()
    Assert(records " >= 36")
}
