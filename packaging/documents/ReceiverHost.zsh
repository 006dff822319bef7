#compdef ReceiverHost
_arguments '1:address of the control pipe:' '2:log file:_files'
