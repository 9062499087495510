# Completion of moxsupply's command line for bash.

# Offers those of the words that begin with what stands at the cursor. (compgen -W would expand them
# as the shell does, and a queue may be called anything.)
_moxsupply_offer() {
  local current=$1 word
  shift
  for word; do
    [[ $word != "$current"* ]] || COMPREPLY+=("$(printf %q "$word")")
  done
}

_moxsupply_offer_queues() {
  local queues
  mapfile -t queues < <(lpstat -e 2>/dev/null)
  _moxsupply_offer "$1" "${queues[@]}"
}

_moxsupply_offer_files() {
  compopt -o filenames 2>/dev/null
  mapfile -t COMPREPLY < <(compgen -f -- "$1")
}

# Model files, and folders in which some may be; and the models that need no file.
_moxsupply_offer_models() {
  local current=$1 program=$2 models
  compopt -o filenames 2>/dev/null
  mapfile -t COMPREPLY < <(compgen -f -X '!*.json' -- "$current"; compgen -d -- "$current")
  mapfile -t models < <("$program" simulate --list 2>/dev/null | cut -d' ' -f1)
  _moxsupply_offer "$current" "${models[@]}"
}

# What may stand behind an option, for all commands. Returns 1 for an option without a value.
_moxsupply_value() {
  local command=$1 option=$2 current=$3
  case $command/$option in
    levels/--type | check/--type) _moxsupply_offer "$current" auto laser inkjet ;;
    enable/--type) _moxsupply_offer "$current" laser inkjet ;;
    decode/--format) _moxsupply_offer "$current" text json ;;
    levels/--format) _moxsupply_offer "$current" table json reading openmetrics ;;
    queues/--format) _moxsupply_offer "$current" table json list ;;
    refresh/--format | history/--format | forecast/--format) _moxsupply_offer "$current" table json ;;
    orders/--format) _moxsupply_offer "$current" table csv json ;;
    */--store) _moxsupply_offer_files "$current" ;;
    history/--since | */--low | */--at | orders/--within) COMPREPLY=() ;;
    */--color) _moxsupply_offer "$current" auto always never ;;
    report/--printer-type) _moxsupply_offer "$current" Laser Inkjet ;;
    report/--transport) _moxsupply_offer "$current" usb socket mdns dnssd ;;
    report/--output | levels/--record | simulate/--replay) _moxsupply_offer_files "$current" ;;
    simulate/--fault)
      _moxsupply_offer "$current" cut silent reset drip wake flood twice wrong-request length \
        flip never-close
      ;;
    */--timeout | */--deadline | */--listen) COMPREPLY=() ;;
    check/--warning | check/-w | check/--critical | check/-c) COMPREPLY=() ;;
    exporter/--host | exporter/--min-interval | exporter/--max-backoff | exporter/--queries-at-once | exporter/--delivery-days | exporter/--notify | exporter/--notify-every) COMPREPLY=() ;;
    *) return 1 ;;
  esac
}

# Whether the line has its printer, queue or model already, before the cursor.
_moxsupply_has_argument() {
  local i
  for ((i = 2; i < COMP_CWORD; ++i)); do
    case ${COMP_WORDS[i]} in
      --help | --all | --backend | --list | --no-store | --quick | --redact) ;;
      -*)
        [[ ${COMP_WORDS[i + 1]} != "=" ]] || ((++i))
        ((++i))
        [[ ${COMP_WORDS[i + 1]} != "=" ]] || ((i += 2))  # --fault cut=20
        ;;
      *) return 0 ;;
    esac
  done
  return 1
}

# What may stand on its own.
_moxsupply_argument() {
  local program=$1 command=$2 current=$3
  case $command in
    levels | check)
      _moxsupply_offer_queues "$current"
      _moxsupply_offer "$current" socket://
      [[ ${COMPREPLY[*]} != socket:// ]] || compopt -o nospace 2>/dev/null
      ;;
    refresh | enable | disable | doctor) _moxsupply_offer_queues "$current" ;;
    decode | exporter) _moxsupply_offer_files "$current" ;;
    history) _moxsupply_offer "$current" add show events ;;
    simulate) _moxsupply_offer_models "$current" "$program" ;;
  esac
}

_moxsupply_offer_options() {
  local command=$1 current=$2
  case $command in
    levels)
      _moxsupply_offer "$current" \
        --type --format --details --timeout --deadline --backend --color --record --redact --help
      ;;
    check)
      _moxsupply_offer "$current" \
        --warning --critical --all --type --timeout --deadline --help
      ;;
    exporter)
      _moxsupply_offer "$current" \
        --listen --host --min-interval --max-backoff --deadline --queries-at-once --store --no-store \
        --delivery-days --notify --notify-every --help
      ;;
    history) _moxsupply_offer "$current" --store --since --low --format --help ;;
    forecast) _moxsupply_offer "$current" --store --at --format --help ;;
    orders) _moxsupply_offer "$current" --store --at --within --format --help ;;
    queues) _moxsupply_offer "$current" --format --help ;;
    refresh) _moxsupply_offer "$current" --all --format --deadline --color --help ;;
    enable) _moxsupply_offer "$current" --all --type --low --no-after-jobs --timeout --deadline --help ;;
    disable) _moxsupply_offer "$current" --all --help ;;
    doctor) _moxsupply_offer "$current" --all --color --help ;;
    report)
      _moxsupply_offer "$current" --printer-type --transport --timeout --output --help
      ;;
    decode) _moxsupply_offer "$current" --format --color --help ;;
    simulate) _moxsupply_offer "$current" --listen --fault --replay --quick --list --help ;;
  esac
}

_moxsupply() {
  local program=$1 command=${COMP_WORDS[1]} current=${COMP_WORDS[COMP_CWORD]}
  local before=$((COMP_CWORD - 1))
  COMPREPLY=()
  if ((COMP_CWORD == 1)); then
    _moxsupply_offer "$current" \
      levels check exporter history forecast orders queues refresh enable disable doctor report \
      decode simulate --help --version
    return
  fi

  # Behind the printer's -- stands a command line of its own.
  if [[ $command == simulate && " ${COMP_WORDS[*]:2:COMP_CWORD-2} " == *" -- "* ]]; then
    if [[ ${COMP_WORDS[before]} == -- ]]; then
      mapfile -t COMPREPLY < <(compgen -c -- "$current")
    else
      _moxsupply_offer_files "$current"
    fi
    return
  fi

  # The equals sign of --type=laser is a word of its own.
  if [[ $current == "=" ]]; then
    current=
  elif [[ ${COMP_WORDS[before]} == "=" ]]; then
    ((--before))
  fi
  if _moxsupply_value "$command" "${COMP_WORDS[before]}" "$current"; then
    return
  fi
  if [[ $current == -* ]]; then
    _moxsupply_offer_options "$command" "$current"
  elif [[ $command == history && ${COMP_WORDS[2]} == add ]] && ((COMP_CWORD > 2)); then
    _moxsupply_offer_files "$current"
  elif [[ $command == doctor || $command == refresh ]] || ! _moxsupply_has_argument; then
    _moxsupply_argument "$program" "$command" "$current"
  fi
}

complete -F _moxsupply moxsupply
