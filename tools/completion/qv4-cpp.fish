# Completion of qv4-cpp for fish. Each candidate is a whole word: fish's own options would put a value into the next word.

# The words that $argv[2] begins, with the option's text $argv[1] ahead; the others are words.
function __qv4_words
    for word in $argv[3..]
        string match -q -- $argv[2]'*' $word; and echo -- $argv[1]$word
    end
end

# The same for files, without a description.
function __qv4_files
    for file in (__fish_complete_path $argv[2])
        echo -- $argv[1](string split -f 1 \t -- $file)
    end
end

# The headers that --include= can find: those of the -I folders on the line.
function __qv4_headers
    for folder in (commandline -opc | string replace -fri '^-I(.)' '$1')
        for file in $folder/*
            echo -- --include=(string replace -- $folder/ '' $file)
        end
    end
end

function __qv4_debug
    set -l ahead --qvdebug=(string match -r '.*,|' -- $argv)
    set -l item (string match -r '[^,]*$' -- $argv)
    switch $item
        case 'out:*' 'zip:*'
            __qv4_files $ahead(string sub -l 4 -- $item) (string sub -s 5 -- $item)
        case '*'
            __qv4_words $ahead $item on alerts adt sdb dwarf zip out: num: assert:{ignore,warning,error,fatal} debug:expand
    end
end

function __qv4_cpp
    set -l word (commandline -ct)
    set -l letter (string sub -l 2 -- $word)
    set -l value (string sub -s 3 -- $word)
    switch $word
        case '-I*' '-i*'
            for folder in (__fish_complete_directories $value '')
                echo -- $letter$folder
            end
        case '-L*' '-l*'
            __qv4_words $letter $value gcc list
        case '-E*' '-e*'
            __qv4_files $letter $value
        case '-W*' '-w*'
            __qv4_words $letter $value 1 -1 -9 !
        case '--cmode=*'
            __qv4_words --cmode= (string sub -s 9 -- $word) lks d36 d36e vlasm vllink vllib gci wbc
        case '--edf=*' '--udf=*'
            __qv4_files (string sub -l 6 -- $word) (string sub -s 7 -- $word)
        case '--include=*'
            __qv4_headers
        case '--qvdebug=*'
            __qv4_debug (string sub -s 11 -- $word)
        case '-*'
            string match -q -- '--*' $word; or printf '%s\n' -C\t'keep comments' -D\t'define a macro' \
                -dM\t'write all macros instead of text' -E\t'messages: form by a digit, or file' \
                -F\t'name of the source' -H\t'list included files' -I\t'include directory' \
                -L{gcc,list}\t'write dependencies instead of text' -N\t'significant characters of a name' \
                -S\t'sizes of types' -U\t'remove a macro' -V\t'list the include search' -W\t'lowest level of warnings'
            printf '%s\n' --cmode=\t'compatibility mode' --dep_nosys\t'no headers of the installation' \
                --{disl,msgdisable}=\t'silence messages' --edf=\t'message texts from a file' \
                --emax=\t'end after so many errors' --include=\t'read a header first' \
                --qvdebug=\t'trace, for support' --udf=\t'HTML report' --ver\tversion
        case '*'
            __fish_complete_path $word
    end
end

complete -c qv4-cpp -f -a '(__qv4_cpp)'
complete -c qv4-report -f -a '(__qv4_cpp)'
