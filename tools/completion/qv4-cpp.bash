# Completion of qv4-cpp for bash. Values are joined to their options, so a word is completed behind the option's letters.

# Candidates that begin with $2, each with the option's text $1 ahead; the others are words.
_qv4_cpp_words() {
  local word
  for word in "${@:3}"; do
    [[ $word == "$2"* ]] && COMPREPLY+=("$1$word")
  done
}

# A name as it must be typed, with a ~ ahead of all as it is.
_qv4_cpp_quoted() {
  local home=
  [[ $1 == '~'* ]] && home='~'
  printf "$home%q" "${1#"$home"}"
}

# The same for files; folders end in a slash. $3 is d for folders only.
_qv4_cpp_files() {
  local file
  while IFS= read -r file; do
    [[ -d $file ]] && file+=/
    COMPREPLY+=("$1$(_qv4_cpp_quoted "$file")")
  done < <(compgen "-$3" -- "$2")
}

_qv4_cpp_debug() {
  local done=${1%"${1##*,}"} item=${1##*,}
  case $item in
    out:* | zip:*) _qv4_cpp_files "--qvdebug=$done${item%%:*}:" "${item#*:}" f ;;
    assert:*) _qv4_cpp_words "--qvdebug=$done" "$item" assert:{ignore,warning,error,fatal} ;;
    debug:*) _qv4_cpp_words "--qvdebug=$done" "$item" debug:expand ;;
    *) _qv4_cpp_words "--qvdebug=$done" "$item" on alerts adt sdb dwarf zip out: num: assert: debug: ;;
  esac
}

# The headers that --include= can find: those of the -I folders on the line.
_qv4_cpp_headers() {
  local word file
  for word in $COMP_LINE; do
    [[ $word == -[Ii]* ]] || continue
    while IFS= read -r file; do
      COMPREPLY+=("--include=${file#"${word:2}"/}")
    done < <(compgen -f -- "${word:2}/$1")
  done
}

_qv4_cpp() {
  local line=${COMP_LINE:0:COMP_POINT} word cut=
  word=${line##*[[:space:]]}
  COMPREPLY=()
  case $word in
    -[Ii]*) _qv4_cpp_files "${word:0:2}" "${word:2}" d ;;
    -[Ll]*) _qv4_cpp_words "${word:0:2}" "${word:2}" gcc list ;;
    -[Ee]*) _qv4_cpp_files "${word:0:2}" "${word:2}" f ;;
    -[Ww]*) _qv4_cpp_words "${word:0:2}" "${word:2}" 1 -1 -9 ! ;;
    --cmode=*) _qv4_cpp_words --cmode= "${word#*=}" lks d36 d36e vlasm vllink vllib gci wbc ;;
    --edf=* | --udf=*) _qv4_cpp_files "${word%%=*}=" "${word#*=}" f ;;
    --include=*) _qv4_cpp_headers "${word#*=}" ;;
    --qvdebug=*) _qv4_cpp_debug "${word#*=}" ;;
    --*) _qv4_cpp_words "" "$word" --{cmode,disl,edf,emax,include,msgdisable,qvdebug,udf}= --dep_nosys --ver ;;
    -d*) _qv4_cpp_words "" "$word" -dM ;;
    -) _qv4_cpp_words "" - -{C,D,dM,E,F,H,I,Lgcc,Llist,N,S,U,V,W} --{cmode,disl,edf,emax,include,msgdisable,qvdebug,udf}= \
      --dep_nosys --ver ;;
    -*) ;;
    @*) _qv4_cpp_files @ "${word#@}" f ;;
    *) _qv4_cpp_files "" "$word" f ;;
  esac
  [[ ${#COMPREPLY[@]} == 1 && ${COMPREPLY[0]} =~ ([=:/]|^-[DEFINSUW])$ ]] && compopt -o nospace
  # Readline replaces only what stands behind the last of its own word breaks.
  [[ $COMP_WORDBREAKS == *=* && $word == *=* ]] && cut=${word%"${word##*=}"}
  [[ $COMP_WORDBREAKS == *:* && $word == *:* ]] && cut=${word%"${word##*:}"}
  COMPREPLY=("${COMPREPLY[@]#"$cut"}")
}

complete -F _qv4_cpp qv4-cpp qv4-report
