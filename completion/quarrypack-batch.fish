# Completion of quarrypack-batch for fish.
complete -c quarrypack-batch -l help -d 'show the usage text'
complete -c quarrypack-batch -l output-dir -x -a '(__fish_complete_directories)' -d 'the folder of the outputs'
complete -c quarrypack-batch -l jobs -x -d 'the number of jobs at a time'
complete -c quarrypack-batch -l sshlogin -x -a '(__fish_print_hostnames)' -d 'the machines to use'
complete -c quarrypack-batch -l log -r -F -d 'the log of the jobs'
complete -c quarrypack-batch -l resume -d 'skip movies that are already converted'
complete -c quarrypack-batch -l embed -d 'run quarrypack-embed instead of quarrypack'
