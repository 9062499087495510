# Completion of moxsupply's command line for fish.

function __moxsupply_queues
    lpstat -e 2>/dev/null
end

function __moxsupply_models
    moxsupply simulate --list 2>/dev/null | string replace -r ' +' '\t'
end

set -l first __fish_use_subcommand
complete -c moxsupply -f
complete -c moxsupply -n $first -s h -l help -d 'Print the help'
complete -c moxsupply -n $first -l version -d 'Print the version'
complete -c moxsupply -n $first -a levels -d 'Ask a printer for its supplies'
complete -c moxsupply -n $first -a check -d 'Check supplies, for a monitoring system'
complete -c moxsupply -n $first -a exporter -d 'Serve many printers to Prometheus'
complete -c moxsupply -n $first -a history -d 'Remember what printers answered'
complete -c moxsupply -n $first -a forecast -d 'Tell when cartridges will be empty'
complete -c moxsupply -n $first -a orders -d 'Tell which cartridges to buy'
complete -c moxsupply -n $first -a queues -d 'Show the levels of all queues'
complete -c moxsupply -n $first -a refresh -d 'Have a queue report its levels now'
complete -c moxsupply -n $first -a enable -d 'Let a queue report its supplies'
complete -c moxsupply -n $first -a disable -d 'Take away what enable added'
complete -c moxsupply -n $first -a doctor -d 'Find out why a queue shows no levels'
complete -c moxsupply -n $first -a report -d 'Ask from inside a filter pipeline'
complete -c moxsupply -n $first -a decode -d 'Show what went over a link'
complete -c moxsupply -n $first -a simulate -d 'Be a printer on the network'

function __moxsupply_option -a subcommand
    complete -c moxsupply -n "__fish_seen_subcommand_from $subcommand" $argv[2..]
end

for queued in levels check refresh enable disable doctor
    __moxsupply_option $queued -a '(__moxsupply_queues)' -d 'Print queue'
end
for colored in levels refresh doctor decode
    __moxsupply_option $colored -l color -x -a 'auto always never' -d 'Colour the output'
end
for any in levels check exporter history forecast orders queues refresh enable disable doctor report decode simulate
    __moxsupply_option $any -s h -l help -d 'Print the help'
end

__moxsupply_option queues -l format -x -a 'table json list' -d 'How to show the queues'
__moxsupply_option levels -l type -x -a 'auto laser inkjet' -d 'What kind of printer it is'
__moxsupply_option levels -l format -x -a 'table json reading openmetrics' -d 'How to show the supplies'
__moxsupply_option levels -l details -d 'Show what identifies the cartridges'
__moxsupply_option levels -l timeout -x -d 'Longest wait for each read, in seconds'
__moxsupply_option levels -l deadline -x -d 'Longest time for everything, in seconds'
__moxsupply_option levels -l backend -d 'Use the CUPS backend for socket:// too'

__moxsupply_option levels -l record -r -F -d 'Write a transcript'
__moxsupply_option levels -l redact -d 'Leave serial numbers out of it'

__moxsupply_option check -s w -l warning -x -d 'Warn below this level, in percent'
__moxsupply_option check -s c -l critical -x -d 'Critical below this level, in percent'
__moxsupply_option check -l all -d 'Judge fusers and containers, too'
__moxsupply_option check -l type -x -a 'auto laser inkjet' -d 'What kind of printer it is'
__moxsupply_option check -l timeout -x -d 'Longest wait for each read, in seconds'
__moxsupply_option check -l deadline -x -d 'Longest time for everything, in seconds'

__moxsupply_option exporter -F
__moxsupply_option exporter -l listen -x -d 'ADDRESS:PORT to listen on'
__moxsupply_option exporter -l min-interval -x -d 'Ask no printer again before, in seconds'
__moxsupply_option exporter -l max-backoff -x -d 'Longest pause for a silent printer, in seconds'
__moxsupply_option exporter -l deadline -x -d 'Longest time for a query, in seconds'
__moxsupply_option exporter -l host -x -d 'Answer to this name too'
__moxsupply_option exporter -l queries-at-once -x -d 'Most queries at once'
__moxsupply_option exporter -l store -r -F -d 'Where readings are remembered'
__moxsupply_option exporter -l no-store -d 'Remember nothing'
__moxsupply_option exporter -l notify -x -a '(__fish_complete_command)' -d 'Tell somebody by this command'
__moxsupply_option exporter -l notify-every -x -d 'At most so often, such as 12h'
__moxsupply_option exporter -l delivery-days -x -d 'How long a cartridge takes to come'

__moxsupply_option history -a 'add show events'
__moxsupply_option history -F
__moxsupply_option history -l store -r -F -d 'Where readings are remembered'
__moxsupply_option history -l since -x -d 'From this time on'
__moxsupply_option history -l low -x -d 'Low at this level and below, in percent'
__moxsupply_option history -l format -x -a 'table json' -d 'How to show it'

__moxsupply_option doctor -l all -d 'All queues of the print server'
for remembered in forecast orders
    __moxsupply_option $remembered -l store -r -F -d 'Where readings are remembered'
    __moxsupply_option $remembered -l at -x -d 'As if it were this time'
end
__moxsupply_option forecast -l format -x -a 'table json' -d 'How to show it'
__moxsupply_option orders -l within -x -d 'What is needed until then, in days'
__moxsupply_option orders -l format -x -a 'table csv json' -d 'How to show it'

__moxsupply_option refresh -l all -d 'All queues that are set up for it'
__moxsupply_option refresh -l format -x -a 'table json' -d 'How to show it'
__moxsupply_option refresh -l deadline -x -d 'Longest wait for each queue, in seconds'

__moxsupply_option enable -l all -d 'All queues whose printers answer'
__moxsupply_option disable -l all -d 'All queues that are set up'
__moxsupply_option enable -l low -x -d 'Low at this level and below, in percent'
__moxsupply_option enable -l no-after-jobs -d 'Do not ask the printer after print jobs'
__moxsupply_option enable -l type -x -a 'laser inkjet' -d 'What kind of printer it is'
__moxsupply_option enable -l timeout -x -d 'Longest wait for each read, in seconds'
__moxsupply_option enable -l deadline -x -d 'Longest time for one report, in seconds'

__moxsupply_option report -l printer-type -x -a 'Laser Inkjet' -d 'What kind of printer it is'
__moxsupply_option report -l transport -x -a 'usb socket mdns dnssd' -d 'How it is connected'
__moxsupply_option report -l timeout -x -d 'Longest wait for each read, in seconds'
__moxsupply_option report -l output -r -F -d 'Where to write the JSON'

__moxsupply_option decode -F
__moxsupply_option decode -l format -x -a 'text json' -d 'How to show the transcript'

__moxsupply_option simulate -a '(__moxsupply_models)'
__moxsupply_option simulate -F
__moxsupply_option simulate -l replay -r -F -d 'Be the printer of a transcript'
__moxsupply_option simulate -l quick -d 'Without its pauses'
__moxsupply_option simulate -l listen -x -d 'ADDRESS:PORT to listen on'
__moxsupply_option simulate -l fault -x -a 'cut silent reset drip= wake= flood twice wrong-request length= flip= never-close' -d 'What is wrong with the printer'
__moxsupply_option simulate -l replay -r -F -d 'Be the printer of a transcript'
__moxsupply_option simulate -l quick -d 'Without its pauses'
__moxsupply_option simulate -l list -d 'Name the models'
