# fish completion of halyx and halyx-writer. Installed under both names: fish loads it by the command's. Candidates are quoted by
# fish, and nothing of a name is evaluated. A name with a tab is left out: fish would take what follows for a description.

complete -e -c halyx
complete -e -c halyx-writer

function __halyx_root
    set -l chroot ''
    if string match -q -- '/*' "$Q7_CHROOT"
        set chroot (realpath -- $Q7_CHROOT 2>/dev/null; or printf '%s\n' $Q7_CHROOT | string collect)
        set chroot (string replace -r -- '/+\z' '' $chroot | string collect)
    end
    printf '%s\n' $chroot/var/shmem/halyxes | string collect
end

# The collections that exist right now. As what: an expression (of which [ and \ must be escaped to stand for themselves), a path,
# or a name.
function __halyx_collections -a kind
    set -l root (__halyx_root)
    set -l before ''
    test "$kind" != name; and string match -qr -- '^[\'"]?/' (commandline -ct); and set before $root/
    set -l escape
    test "$kind" = expression; and set escape -e 's/[[\\\\]/\\\\&/g'
    set -l hidden '^-'
    # Without "--" before it, it would be taken for options.
    test "$kind" = path; or contains -- -- (commandline -opc); and set hidden '^$'
    find $root/ -mindepth 2 -type f \( -name slots -o -name buckets -o -name 'slab[0-9]' -o -name 'slab[12][0-9]' \
        -o -name 'slab3[01]' -o -name 'conquer.[12]' -o -name fenix \) -printf '%P\0' 2>/dev/null \
        | sed -z -e 's|/[^/]*$||' -e '/\t/d' -e "/$hidden/d" $escape | sort -zu \
        | while read -lz name
        printf '%s%s\tcollection\0' $before $name
    end | string split0
end

# The processes that have a file of a collection mapped, as far as this user may know; all of them when there are none.
function __halyx_processes
    set -l mapped (realpath -- (__halyx_root) 2>/dev/null)
    set -l all (string match -r -- '^/proc/[0-9]+/maps$' /proc/*/maps)
    set -l maps
    test -n "$mapped"; and set maps (grep -lsF -- $mapped/ $all)
    test -n "$maps"; or set maps $all
    for pid in (string match -r -- '[0-9]+' $maps)
        set -l name ''
        test -r /proc/$pid/comm; and set name (string replace -ra -- '[^[:print:]]' '?' <"/proc/$pid/comm" | string collect)
        printf '%s\t%s\n' $pid $name
    end
end

# The types that need no description, and those that files in the directories of HALYX_TYPE_PATH describe.
function __halyx_types
    printf '%s\n' {U,S}{8,16,32,64} {u,}int{8,16,32,64}_t float double bool
    set -l places (string split -n : -- "$HALYX_TYPE_PATH")
    if not set -q HALYX_TYPE_PATH
        set places (string replace -r -- '[^/]*$' ../share/halyx/types (__halyx_writer_program))
    end
    for place in $places
        for file in $place/*.h
            string replace -r -- '^.*/(.*)\.h$' '$1' $file
        end
    end
end

# Whether an expression, or an option, can follow what stands before the cursor.
function __halyx_wants -a what
    set -l words (commandline -opc)
    set -l argument no
    set -l operands no
    set -l ended no
    for word in $words[2..]
        if test $argument = H # with its path, the line ends
            return 1
        else if test $argument = yes
            set argument no
        else if test $ended = yes; or not string match -q -- '-?*' $word
            set operands yes
        else if test $word = --
            set ended yes
        else if string match -qr -- '^(--he|--ha.*=|-[^-fcH]*(h|H.))' $word
            return 1
        else if string match -qr -- '^(--ha|-[^-fcH]*H)' $word
            set argument H
        else if string match -qr -- '^(--wha[^=]*$|-[^-fcH]*[fc]$)' $word
            set argument yes
        end
        # These look at every collection, or at a process.
        string match -qr -- '^(--wh(a|o-)|-[^-fcH]*[ac])' $word; and set operands yes
    end
    test $what = option -o $operands = no
end

complete -c halyx -f
complete -c halyx -n '__halyx_wants option' -s e -d 'Enable printing of empty buckets'
complete -c halyx -n '__halyx_wants option' -s f -r -F -d 'Direct output towards a file'
complete -c halyx -n '__halyx_wants option' -s p -d 'Pretty prints of values'
complete -c halyx -n '__halyx_wants option' -s j -d 'Prints values in JSON format'
complete -c halyx -n '__halyx_wants option' -s q -d 'Print all notifications from both conquer queues'
complete -c halyx -n '__halyx_wants option' -s v -d 'Only print valid notifications. Requires -q'
complete -c halyx -n '__halyx_wants option' -s x -d 'Prints headers for the buckets, slots, and conquer tables'
complete -c halyx -n '__halyx_wants option' -s w -l who -d 'Prints info about processes that are attached to the collection'
complete -c halyx -n '__halyx_wants option' -s c -l what -x -a '(__halyx_processes)' \
    -d 'Prints tables that have client with given PID'
complete -c halyx -n '__halyx_wants option' -s a -l who-all \
    -d 'Prints per-collection info about processes that are attached to each collection'
complete -c halyx -n '__halyx_wants option' -s H -l handle -x -a '(__halyx_collections path)' \
    -d 'Prints the trace handle for a collection path'
complete -c halyx -n '__halyx_wants option' -s h -l help -d 'Display this helper and exit'
complete -c halyx -n '__halyx_wants expression' -a '(__halyx_collections expression)'

# What VALUE stands for in halyx-writer's help text.
function __halyx_writer_values -a value
    switch $value
        case TYPE
            __halyx_types
        case KIND
            printf '%s\n' reader shadow keyshadow
        case 'csv|jsonl'
            printf '%s\n' csv jsonl
        case DIRECTORY
            __fish_complete_directories
    end
end

# The program that the line is going to run.
function __halyx_writer_program
    set -l words (commandline -opc)
    command -s (string replace -r -- '^~/' "$HOME/" $words[1])
end

# halyx-writer's help text knows its commands and options best.
function __halyx_writer
    set -l program (__halyx_writer_program); or return
    set -l words (commandline -opc)
    set -l token (commandline -ct)
    if not set -q words[2]
        command $program --help 2>/dev/null </dev/null | sed -n '/^Commands:$/,/^$/s/^  \([a-z-]*\)  */\1\t/p'
        printf '--help\tthis text\n--version\tthe version\n'
        return
    end
    set -l help (command $program $words[2] --help 2>/dev/null </dev/null)
    set -l expected ''
    set -l operands 0
    for word in $words[3..]
        if test -n "$expected"
            set expected ''
        else if test "$word" = --help
            return
        else if string match -q -- '--?*' $word
            set expected (string match -rg -- "^  \Q$word\E ([^ ]+)  " $help)
        else
            set operands (math $operands + 1)
        end
    end
    if test -n "$expected"
        __halyx_writer_values $expected
    else if string match -qr -- '^--[a-z-]+=' $token
        set -l option (string replace -r -- '=.*' '' $token)
        string replace -r -- '^' "$option=" (__halyx_writer_values (string match -rg -- "^  $option ([^ ]+)  " $help))
    else if string match -q -- '-*' $token
        string replace -rf -- '^  (--[a-z-]+)( [^ ]+)?  +' '$1\t' $help
    else if test $operands = 0
        __halyx_collections name
    else if test $operands = 1 -a "$words[2]" = load
        __fish_complete_path $token
    end
end

complete -c halyx-writer -f -a '(__halyx_writer)'
