# Completion of quarrypack-check for fish.
complete -c quarrypack-check -l json -d 'write the report as JSON'
complete -c quarrypack-check -l html -r -F -d 'also write a page for browsers'
complete -c quarrypack-check -l fail-on -x -a 'error warning' -d 'the lowest severity that gives status 3'
complete -c quarrypack-check -l scc-offset -x -a 'auto' -d 'the time code that is time 0'
complete -c quarrypack-check -l scc-rate -x -a '23.976 24 25 29.97 30 50 59.94' -d 'the frame rate of the time codes'
complete -c quarrypack-check -l help -d 'show the usage text'
complete -c quarrypack-check -l version -d 'show the version'
