# Doxygen takes a comment for the one declaration below it. In these headers a comment speaks for all declarations down
# to the next empty line, comment or brace: such a run becomes a member group, whose members share the comment of the
# first. A comment that stands alone speaks for the file. The lines keep their numbers.
function flush(alone,    i) {
    if (alone && commented && !declarations && empty && line[1] ~ /^\//) {
        print "/// \\file"
        empty = 0
    }
    if (empty) print ""
    if (commented && declarations > 1) {
        sub(/^ */, "&/** @{ */ ", line[1])
        line[n] = line[n] " /** @} */"
    }
    for (i = 1; i <= n; ++i) print line[i]
    n = commented = declarations = empty = 0
}

/^ *\/\/\/ / || /^ *\/\/\/$/ {
    if (declarations) flush()
    line[++n] = $0
    commented = 1
    next
}

/^ *$/ {
    flush(1)
    empty = 1
    next
}

/^ *\/\/|^#|[{}~]|^ *(public|protected|private):|\/\/\/</ {
    flush()
    print $0 (/^#pragma once/ ? " /** \\file */" : "")
    next
}

{
    line[++n] = $0
    if (/;( *\/\/.*)?$/) ++declarations
}

END { flush() }
