# Completion of quarrypack-batch for fish.
complete -c quarrypack-batch -l help -d 'show the usage text'
complete -c quarrypack-batch -l output-dir -x -a '(__fish_complete_directories)' -d 'folder of the outputs'
complete -c quarrypack-batch -l jobs -x -d 'so many at a time'
complete -c quarrypack-batch -l sshlogin -x -a '(__fish_print_hostnames)' -d 'machines to use'
complete -c quarrypack-batch -l log -r -F -d 'the log of the jobs'
complete -c quarrypack-batch -l resume -d 'leave out what is converted already'
complete -c quarrypack-batch -l embed -d 'with quarrypack-embed'
