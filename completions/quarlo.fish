# Completion of quarlo for fish.

# Many inputs
complete -c quarlo -s r -l recursive -d 'Take the pictures in folders, and in all folders below'
complete -c quarlo -l files-from -r -F -d 'Names of more inputs, one a line'
complete -c quarlo -s 0 -l null -d 'Names in that list end in NUL characters'
complete -c quarlo -l shard -x -d 'Only the I-th of N equal parts of all inputs'
complete -c quarlo -s j -l jobs -x -a 'auto' -d 'Pages worked on at a time'
complete -c quarlo -l max-pixels -x -d 'Refuse larger pictures'
complete -c quarlo -l progress -x -a 'auto bar lines none' -d 'How far the work is'

# Output
complete -c quarlo -s o -l output -r -F -d 'The result of a single input'
complete -c quarlo -s O -l output-dir -x -d 'Folder of the results' \
    -a '(__fish_complete_directories (commandline -ct | string replace -r "^(--output-dir=|-O)" ""))'
complete -c quarlo -l parents -d "Below that folder keep the folders of the inputs' names"
complete -c quarlo -l name -x -d 'Names of the results'
complete -c quarlo -s f -l format -x -a 'bmp png jpeg tiff pnm' -d 'Format of the results'
complete -c quarlo -l overwrite -d 'Replace files that exist'
complete -c quarlo -l skip-existing -d 'Leave inputs whose result exists, go on with the report'
complete -c quarlo -l in-place -d 'Replace each input by its result'
complete -c quarlo -l compress -x -a 'same none lzw deflate g4 jpeg' -d 'Compression within the format'
complete -c quarlo -l quality -x -a 'same' -d 'Quality of JPEG'
complete -c quarlo -l pages -x -d 'Which pages of each input'

# Finding the page
complete -c quarlo -l ground -x -a 'dark light auto' -d 'What the page lies on'
complete -c quarlo -s t -l threshold -x -a 'auto' -d 'Grey level that parts ground and page'
complete -c quarlo -s a -l max-angle -x -d 'Refuse pages that are turned further'
complete -c quarlo -s l -l min-angle -x -d 'Crop pages that are turned less without resampling'
complete -c quarlo -l min-area -x -d 'Refuse pages smaller than that share of the scan'
complete -c quarlo -l on-fail -x -a 'copy skip stop' -d 'What becomes of a page that cannot be cropped'

# The result
complete -c quarlo -s i -l interpolate -x -a 'cubic linear nearest' -d 'How pixels are made'
complete -c quarlo -l fill -x -a 'white black edge' -d 'Colour of what the scan does not cover'
complete -c quarlo -l margin -x -d 'Room around the page'
complete -c quarlo -l size -x -a '{a3,a4,a5,a6,letter,legal}{,-landscape}' -d 'Size of the result'
complete -c quarlo -l rotate -x -a '0 90 180 270 -90' -d 'Turn the upright page clockwise'
complete -c quarlo -l depth -x -a 'same 1 8 24' -d 'Bits per pixel'
complete -c quarlo -l smooth -d 'Turn 1-bit pages in grey'
complete -c quarlo -l no-crop -d 'Keep the whole scan, turned upright'
complete -c quarlo -l no-deskew -d 'Crop along the axes, do not turn'

# Information
complete -c quarlo -s n -l dry-run -d 'Find and report only'
complete -c quarlo -l angle -d 'Print the angle of each page'
complete -c quarlo -l json -d 'Report, a line of JSON for each page'
complete -c quarlo -l overlay -r -F -d 'Draw what was found'
complete -c quarlo -l apply -r -F -d 'Cut by the frames of that report'
complete -c quarlo -l fail-fast -d 'Stop at the first file that cannot be done'
complete -c quarlo -s q -l quiet -d 'Tell errors only'
complete -c quarlo -s v -l verbose -d 'Tell what was found on each page'
complete -c quarlo -l explain -x -d 'What the code of a message means'
complete -c quarlo -s h -l help -d 'List the options'
complete -c quarlo -s V -l version -d 'Print the version'
