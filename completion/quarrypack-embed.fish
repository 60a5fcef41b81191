# Completion of quarrypack-embed for fish.
complete -c quarrypack-embed -l captions -r -F -d 'captions of field 1'
complete -c quarrypack-embed -l captions-field2 -r -F -d 'captions of field 2'
complete -c quarrypack-embed -l scc-offset -x -a auto -d 'the time code of the first picture'
complete -c quarrypack-embed -l scc-rate -x -a '23.976 24 25 29.97 30 50 59.94' \
  -d 'the frame rate of the time codes'
complete -c quarrypack-embed -l replace -d 'remove captions that the pictures already have'
complete -c quarrypack-embed -l no-pad -d 'leave pictures without captions as they are'
complete -c quarrypack-embed -l no-verify -d 'do not read the written file again'
complete -c quarrypack-embed -l report -r -F -d 'write a report to a file'
complete -c quarrypack-embed -l help -d 'show the usage text'
complete -c quarrypack-embed -l version -d 'show the version'
