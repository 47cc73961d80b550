# Completion of marlin-bench for fish.

complete -c marlin-bench -l register-shell -d 'Make the program known to the desktop, then end'
complete -c marlin-bench -l unregister-shell -d 'Remove the desktop entry, then end'
complete -c marlin-bench -l quiet -d 'No dialog for the two above'
complete -c marlin-bench -l version -d 'Print the version'
complete -c marlin-bench -l verify-manifest -rF -d 'Check the signature of a release manifest'
