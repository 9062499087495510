#compdef moxsupply
# Completion of moxsupply's command line for zsh.

local -a commands help color queue
commands=(
  'levels:ask a printer for its supplies'
  'check:check supplies, for a monitoring system'
  'exporter:serve many printers to Prometheus'
  'history:remember what printers answered'
  'forecast:tell when cartridges will be empty'
  'orders:tell which cartridges to buy'
  'queues:show the levels of all queues'
  'refresh:have a queue report its levels now'
  'enable:let a queue report its supplies'
  'disable:take away what enable added'
  'doctor:find out why a queue shows no levels'
  'report:ask from inside a filter pipeline'
  'decode:show what went over a link'
  'simulate:be a printer on the network'
)
help=('(- *)'{-h,--help}'[print the help]')
color='--color=[colour the output]:when:(auto always never)'
queue='1:print queue:{compadd -- ${(f)"$(lpstat -e 2>/dev/null)"}}'

if (( CURRENT == 2 )); then
  _describe command commands
  _arguments $help '(- *)--version[print the version]'
  return
fi

words=("${(@)words[2,-1]}")
(( CURRENT-- ))
case $words[1] in
  levels)
    _arguments $help $color "*${queue#1}" \
      '--type=[what kind of printer it is]:type:(auto laser inkjet)' \
      '--format=[how to show the supplies]:format:(table json reading openmetrics)' \
      '--details[show what identifies the cartridges]' \
      '--timeout=[longest wait for each read]:seconds' \
      '--deadline=[longest time for everything]:seconds' \
      '--backend[use the CUPS backend for socket\:// too]' \
      '--record=[write a transcript]:file:_files' \
      '--redact[leave serial numbers out of it]'
    ;;
  check)
    _arguments $help $queue \
      '(-w --warning)'{-w+,--warning=}'[warn below this level]:percent' \
      '(-c --critical)'{-c+,--critical=}'[critical below this level]:percent' \
      '--all[judge fusers and containers, too]' \
      '--type=[what kind of printer it is]:type:(auto laser inkjet)' \
      '--timeout=[longest wait for each read]:seconds' \
      '--deadline=[longest time for everything]:seconds'
    ;;
  exporter)
    _arguments $help \
      '1:list of printers:_files -g "*.json"' \
      '--listen=[where to listen]:address and port' \
      '--min-interval=[ask no printer again before]:seconds' \
      '--max-backoff=[longest pause for a silent printer]:seconds' \
      '--deadline=[longest time for a query]:seconds' \
      '*--host=[answer to this name too]:name:_hosts' \
      '--queries-at-once=[most queries at once]:number' \
      '(--no-store)--store=[where readings are remembered]:file:_files' \
      '(--store)--no-store[remember nothing]' \
      '--delivery-days=[how long a cartridge takes to come]:days' \
      '(--no-store)--notify=[tell somebody by this command]:command' \
      '--notify-every=[at most so often]:time, such as 12h'
    ;;
  history)
    _arguments $help \
      '1:action:(add show events)' \
      '2:file or printer:_files' \
      '--store=[where readings are remembered]:file:_files' \
      '--since=[from this time on]:time' \
      '--low=[low at this level and below]:percent' \
      '--format=[how to show it]:format:(table json)'
    ;;
  queues) _arguments $help '--format=[how to show the queues]:format:(table json list)' ;;
  forecast)
    _arguments $help \
      '1:printer:' \
      '--store=[where readings are remembered]:file:_files' \
      '--at=[as if it were this time]:time' \
      '--format=[how to show it]:format:(table json)'
    ;;
  orders)
    _arguments $help \
      '--store=[where readings are remembered]:file:_files' \
      '--at=[as if it were this time]:time' \
      '--within=[what is needed until then]:days' \
      '--format=[how to show it]:format:(table csv json)'
    ;;
  refresh)
    _arguments $help $color "*${queue#1}" \
      '--all[all queues that are set up for it]' \
      '--format=[how to show it]:format:(table json)' \
      '--deadline=[longest wait for each queue]:seconds'
    ;;
  enable)
    _arguments $help $queue \
      '--all[all queues whose printers answer]' \
      '--type=[what kind of printer it is]:type:(laser inkjet)' \
      '--low=[low at this level and below]:percent' \
      '--no-after-jobs[do not ask the printer after print jobs]' \
      '--timeout=[longest wait for each read]:seconds' \
      '--deadline=[longest time for one report]:seconds'
    ;;
  disable) _arguments $help $queue '--all[all queues that are set up]' ;;
  doctor) _arguments $help $color "*${queue#1}" '--all[all queues of the print server]' ;;
  report)
    _arguments $help \
      '--printer-type=[what kind of printer it is]:type:(Laser Inkjet)' \
      '--transport=[how it is connected]:transport:(usb socket mdns dnssd)' \
      '--timeout=[longest wait for each read]:seconds' \
      '--output=[where to write the JSON]:file:_files'
    ;;
  decode)
    _arguments $help $color \
      '1:transcript:_files' \
      '--format=[how to show it]:format:(text json)'
    ;;
  simulate)
    _arguments $help \
      '1:model:{compadd -- ${${(f)"$(moxsupply simulate --list 2>/dev/null)"}%% *}; _files -g "*.json"}' \
      '--listen=[where to listen]:address and port' \
      '*--fault=[what is wrong with the printer]:fault:(cut silent reset drip= wake= flood twice wrong-request length= flip= never-close)' \
      '--replay=[be the printer of a transcript]:transcript:_files' \
      '--quick[without its pauses]' \
      '--list[name the models]' \
      '*::command:_normal'
    ;;
esac
