# bash completion of halyx and halyx-writer; needs bash 4.2, and nothing of the bash-completion package.
#
# A collection can be called anything that a directory can be called. So the command line is taken apart here, character by
# character, and nothing of it or of a name is ever evaluated; and names are quoted here.

# Decodes the escape that `rest` begins with, behind a backslash between $' and '. Sets text, and escape_length.
_halyx_escape() {
    if [[ $rest =~ ^([0-7]{1,3}|x[0-9a-fA-F]{1,2}|u[0-9a-fA-F]{1,4}|U[0-9a-fA-F]{1,8}) ]]; then
        printf -v text "\\${BASH_REMATCH[1]}"
        escape_length=${#BASH_REMATCH[1]}
        return
    fi
    escape_length=1
    case $rest in
    [abfnrtv]*) printf -v text "\\${rest:0:1}" ;;
    [eE]*) text=$'\e' ;;
    *) text=${rest:0:1} ;;
    esac
}

# Takes the command line up to the cursor apart. Sets, in the caller: words (those before the current one, unquoted), cur (the
# current one, unquoted), kept (how many characters of it stand before the part that readline replaces), quote (the one that is
# open there: ' or " or $ for $' or nothing) and redirected (whether the word belongs to a redirection).
_halyx_split() {
    local line=${COMP_LINE:0:COMP_POINT} character rest text
    local -i i=0 inside=0 before_quote=0 escape_length
    words=() cur='' kept=0 quote='' redirected=0
    while ((i < ${#line})); do
        character=${line:i:1} rest=${line:i+1}
        i+=1
        if [[ -n $quote ]]; then
            if [[ $character == "'" && $quote != '"' || $character == '"' && $quote == '"' ]]; then
                quote='' kept=$before_quote
            elif [[ $character != \\ || $quote == "'" ]]; then
                cur+=$character
            elif [[ $quote == '$' ]]; then
                # The cursor stands in an escape when that is where several candidates begin to differ.
                [[ ! $rest =~ ^(x[0-9a-fA-F]?|[0-7]{0,2}|u[0-9a-fA-F]{0,3}|U[0-9a-fA-F]{0,7})$ ]] || break
                _halyx_escape
                cur+=$text
                i+=escape_length
            elif [[ $rest == [\\\"\$\`]* ]]; then
                cur+=${rest:0:1}
                i+=1
            elif [[ -n $rest ]]; then
                cur+=$character
            fi
            continue
        fi
        case $character in
        [[:space:]\<\>])
            if [[ $character == [\<\>] && $cur =~ ^[0-9\&]*$ ]]; then inside=0; fi # the 2 of 2>
            if ((inside && redirected)); then redirected=0; elif ((inside)); then words+=("$cur"); fi
            if [[ $character == [\<\>] ]]; then redirected=1; fi
            cur='' kept=0 inside=0
            continue
            ;;
        \\)
            cur+=${rest:0:1}
            i+=1
            ;;
        [\'\"])
            quote=$character before_quote=$kept kept=${#cur}
            ;;
        *)
            if [[ $character$rest == "\$'"* ]]; then
                quote='$' before_quote=$kept kept=${#cur}
                i+=1
            else
                cur+=$character
                if [[ $COMP_WORDBREAKS == *"$character"* ]]; then kept=${#cur}; fi
            fi
            ;;
        esac
        inside=1
    done
}

# Sets quoted to the text as it is to stand in the line where `quote` is open. What would move the cursor or end the line is
# written as an escape.
_halyx_quote() { # TEXT
    local character escaped special
    local -i i
    quoted=$1
    [[ $1 == *[^a-zA-Z0-9_./+-]* ]] || return 0
    case $quote in
    '') special=$' !"#$%&\'()*,:;<=>?@[\\]^`{|}~' ;;
    \") special='"\$`' ;;
    \$) special="\\'" ;;
    *) special= ;;
    esac
    quoted=
    for ((i = 0; i < ${#1}; ++i)); do
        character=${1:i:1}
        if [[ $character != [[:print:]] ]]; then
            printf -v escaped %q "$character" # $'...'
            if [[ $quote == '$' ]]; then escaped=${escaped:2:${#escaped}-3}; else escaped=$quote$escaped$quote; fi
            quoted+=$escaped
            continue
        fi
        if [[ $quote$character == "''" ]]; then
            quoted+="'\\''"
        elif [[ $quote$character == '"!' ]]; then
            quoted+='"\!"'
        elif [[ $special == *"$character"* ]]; then
            quoted+=\\$character
        else
            quoted+=$character
        fi
    done
}

# A candidate, if it begins with the current word.
_halyx_add() { # TEXT [DESCRIPTION]
    [[ $1 == "$cur"* ]] || return 0
    local quoted
    _halyx_quote "${1:kept}"
    # readline closes the quote behind a single candidate, but not if it ends in one already.
    case $quote$quoted in
    [\'\$]*\' | \"*\") quoted+=${quoted: -1} ;;
    esac
    COMPREPLY+=("$quoted")
    descriptions+=("${2-}")
}

_halyx_add_described() { # LINES of TEXT|DESCRIPTION
    local text description
    while IFS='|' read -r text description; do _halyx_add "$text" "$description"; done <<<"$1"
}

# Several candidates are listed with what they mean; a single one, or one of a menu, goes into the line as it is.
_halyx_describe() {
    ((${#COMPREPLY[@]} > 1 && COMP_TYPE != 37 && COMP_TYPE != 42)) || return 0
    local -i i
    for ((i = 0; i < ${#COMPREPLY[@]}; ++i)); do
        [[ -z ${descriptions[i]} ]] || COMPREPLY[i]+="  (${descriptions[i]})"
    done
}

# Sets root to the collections' root as halyx prints it.
_halyx_root() {
    root=
    if [[ ${Q7_CHROOT-} == /* ]]; then
        # The dot keeps line ends in the directory's own name.
        root=$(builtin cd -P -- "$Q7_CHROOT" 2>/dev/null && printf '%s.' "$PWD")
        if [[ -n $root ]]; then root=${root%.}; else root=$Q7_CHROOT; fi
        while [[ $root == */ ]]; do root=${root%/}; done
    fi
    root+=/var/shmem/halyxes
}

# The collections that exist right now, behind PREFIX. As what: an expression (of which [ and \ must be escaped to stand for
# themselves), a path, or a name.
_halyx_collections() { # expression|path|name [PREFIX]
    local root file name collection=''
    _halyx_root
    while IFS= read -r -d '' file; do
        [[ ${file%/*} != "$collection" ]] || continue
        collection=${file%/*} name=$collection
        # Without "--" before it, it would be taken for options.
        [[ $1 == path || $name != -* ]] || ((ended)) || continue
        if [[ $1 == expression ]]; then name=${name//\\/\\\\} name=${name//\[/\\\[}; fi
        if [[ $1 != name && ${cur#"${2-}"} == /* ]]; then name=$root/$name; fi
        _halyx_add "${2-}$name"
    done < <(command find "$root/" -mindepth 2 -type f \( -name slots -o -name buckets -o -name 'slab[0-9]' -o \
        -name 'slab[12][0-9]' -o -name 'slab3[01]' -o -name 'conquer.[12]' -o -name fenix \) -printf '%P\0' \
        2>/dev/null | LC_ALL=C command sort -z)
}

# The processes that have a file of a collection mapped, as far as this user may know; all of them when there are none.
_halyx_processes() { # [PREFIX]
    local root mapped pid name
    _halyx_root
    mapped=$(builtin cd -P -- "$root" 2>/dev/null && printf '%s/' "$PWD")
    while IFS=/ read -r _ _ pid _; do
        name=
        { IFS= read -r name <"/proc/$pid/comm"; } 2>/dev/null
        _halyx_add "${1-}$pid" "${name//[^[:print:]]/?}"
    done < <(
        set +f
        shopt -u failglob nullglob
        users=$([[ -z $mapped ]] || command grep -lsF -- "$mapped" /proc/[0-9]*/maps)
        printf '%s\n' "${users:-$(printf '%s\n' /proc/[0-9]*/maps)}"
    )
}

_halyx_options="-e|Enable printing of empty buckets
-f|Direct output towards a file
-p|Pretty prints of values
-j|Prints values in JSON format
-q|Print all notifications from both conquer queues
-v|Only print valid notifications. Requires -q
-x|Prints headers for the buckets, slots, and conquer tables
-w|Prints info about processes that are attached to the collection
--who|Prints info about processes that are attached to the collection
-c|Prints tables that have client with given PID
--what|Prints tables that have client with given PID
-a|Prints per-collection info about processes that are attached to each collection
--who-all|Prints per-collection info about processes that are attached to each collection
-H|Prints the trace handle for a collection path
--handle|Prints the trace handle for a collection path
-h|Display this helper and exit
--help|Display this helper and exit"

# What an option of halyx lets follow. Sets expected to the option that the next word is the argument of.
_halyx_option() { # WORD
    local -i at
    local letters=$1
    case $1 in
    --) ended=1 ;;
    --ha*=*) letters=-H= ;;
    --wha*=*) letters=-c= ;;
    --ha*) letters=-H ;;
    --wha*) letters=-c ;;
    --he*) letters=-h ;;
    --who-*) letters=-a ;;
    esac
    [[ $letters != --* ]] || return 0
    for ((at = 1; at < ${#letters}; ++at)); do
        case ${letters:at:1} in
        a) clients=1 ;;
        c) clients=1 expected=c ;;
        f) expected=f ;;
        H) nothing=1 expected=H ;;
        h) nothing=1 ;;
        esac
        [[ -z $expected ]] || break
    done
    if ((at + 1 < ${#letters})); then expected=; fi # it has its argument
}

_halyx() {
    local IFS=$' \t\n' words cur kept quote redirected descriptions=()
    COMPREPLY=()
    _halyx_split
    if ((redirected)); then
        compopt -o default
        return
    fi
    local word expected='' clients=0 nothing=0 operands=0 ended=0
    for word in "${words[@]:1}"; do
        if [[ -n $expected ]]; then
            expected=
        elif ((ended)) || [[ $word != -?* ]]; then
            operands=1
        else
            _halyx_option "$word"
        fi
    done
    if [[ $expected == f ]]; then
        compopt -o default
    elif [[ $expected == c ]]; then
        _halyx_processes
    elif [[ $expected == H ]]; then
        _halyx_collections path
    elif ((nothing)); then
        return
    elif ((!ended)) && [[ $cur == -* ]]; then
        case $cur in
        --wha*=*) _halyx_processes "${cur%%=*}=" ;;
        --ha*=*) _halyx_collections path "${cur%%=*}=" ;;
        -c?*) _halyx_processes -c ;;
        -H?*) _halyx_collections path -H ;;
        *) _halyx_add_described "$_halyx_options" ;;
        esac
    elif ((!clients && !operands)); then
        _halyx_collections expression
    fi
    _halyx_describe
}

# Sets program to the file that the line is going to run; false when there is none.
_halyx_writer_program() {
    program=${words[0]}
    if [[ $program == \~/* ]]; then program=$HOME${program:1}; fi
    program=$(type -P -- "$program")
}

# The help text of halyx-writer, or of one of its commands: it knows its options best.
_halyx_writer_help() { # [COMMAND]
    local program
    _halyx_writer_program && command "$program" "$@" --help 2>/dev/null </dev/null
}

# Sets names, values and texts to the options that a help text tells of: "  --name VALUE  text".
_halyx_writer_options() { # COMMAND
    local line
    names=() values=() texts=()
    while IFS= read -r line; do
        [[ $line =~ ^\ \ (--[a-z-]+)(\ ([^\ ]+))?\ \ +(.*)$ ]] || continue
        names+=("${BASH_REMATCH[1]}") values+=("${BASH_REMATCH[3]}") texts+=("${BASH_REMATCH[4]}")
    done < <(_halyx_writer_help "$1")
}

# The types that need no description, and those that files in the directories of HALYX_TYPE_PATH describe.
_halyx_types() { # [PREFIX]
    local type directory program
    for type in {U,S}{8,16,32,64} {u,}int{8,16,32,64}_t float double bool; do _halyx_add "${1-}$type"; done
    local IFS=: places=${HALYX_TYPE_PATH-}
    if [[ -z ${HALYX_TYPE_PATH+set} ]] && _halyx_writer_program; then
        places=${program%/*}/../share/halyx/types
    fi
    while IFS= read -r -d '' type; do
        type=${type##*/}
        _halyx_add "${1-}${type%.h}"
    done < <(
        set -f
        for directory in $places; do command find "$directory/" -maxdepth 1 -type f -name '*.h' -print0 2>/dev/null; done
    )
}

_halyx_writer_value() { # VALUE [PREFIX]
    local word
    case $1 in
    TYPE) _halyx_types "${2-}" ;;
    KIND) for word in reader shadow keyshadow; do _halyx_add "${2-}$word"; done ;;
    csv\|jsonl) for word in csv jsonl; do _halyx_add "${2-}$word"; done ;;
    DIRECTORY) compopt -o dirnames ;;
    esac
}

_halyx_writer() {
    local IFS=$' \t\n' words cur kept quote redirected descriptions=() names values texts
    COMPREPLY=()
    _halyx_split
    if ((redirected)); then
        compopt -o default
        return
    fi
    local word text expected='' operands=0 ended=0
    local -i i
    if ((${#words[@]} == 1)); then
        while read -r word text; do
            [[ $word != [a-z]* ]] || _halyx_add "$word" "$text"
        done < <(_halyx_writer_help | command sed -n '/^Commands:$/,/^$/p')
        _halyx_add --help "this text"
        _halyx_add --version "the version"
        _halyx_describe
        return
    fi
    _halyx_writer_options "${words[1]}"
    for word in "${words[@]:2}"; do
        if [[ -n $expected ]]; then
            expected=
        elif ((ended)) || [[ $word != -?* ]]; then
            operands=$((operands + 1))
        elif [[ $word == -- ]]; then
            ended=1
        elif [[ $word == --help ]]; then
            return
        else
            for ((i = 0; i < ${#names[@]}; ++i)); do
                [[ $word != "${names[i]}" ]] || expected=${values[i]}
            done
        fi
    done
    if [[ -n $expected ]]; then
        _halyx_writer_value "$expected"
    elif ((!ended)) && [[ $cur == -* ]]; then
        for ((i = 0; i < ${#names[@]}; ++i)); do
            _halyx_add "${names[i]}" "${texts[i]}"
            [[ $cur != "${names[i]}="* ]] || _halyx_writer_value "${values[i]}" "${names[i]}="
        done
    elif ((operands == 0)); then
        _halyx_collections name
    elif ((operands == 1)) && [[ ${words[1]} == load ]]; then
        compopt -o default
    fi
    _halyx_describe
}

complete -F _halyx halyx
complete -F _halyx_writer halyx-writer
