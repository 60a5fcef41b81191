# Completion of quarrypack for fish.
complete -c quarrypack -f
complete -c quarrypack -l help -d 'show the usage text'
complete -c quarrypack -l input-file -r -F -d 'the movie to convert'
complete -c quarrypack -l output-file -r -F -d 'the file to write'
complete -c quarrypack -l conf-file -r -F -d 'a configuration file'
