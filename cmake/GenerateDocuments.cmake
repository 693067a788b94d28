# Makes a tool write its manual pages and completion scripts, in the folders that they have under share/:
#   cmake -D PROGRAM=<path> -D FOLDER=<path> -D ZSH_FOLDER=<path in there> -P GenerateDocuments.cmake

cmake_path(GET PROGRAM FILENAME tool)

# generate(<file> <option>...)
function(generate file)
  cmake_path(GET file PARENT_PATH folder)
  file(MAKE_DIRECTORY ${FOLDER}/${folder})
  execute_process(COMMAND ${PROGRAM} ${ARGN} OUTPUT_FILE ${FOLDER}/${file} COMMAND_ERROR_IS_FATAL ANY)
endfunction()

generate(bash-completion/completions/${tool} --generate-completion-script bash)
generate(${ZSH_FOLDER}/_${tool} --generate-completion-script zsh)
generate(fish/vendor_completions.d/${tool}.fish --generate-completion-script fish)

generate(man/man1/${tool}.1 --generate-manual-page)
# The tool's own page refers to the pages of its commands.
file(STRINGS ${FOLDER}/man/man1/${tool}.1 references REGEX "^\\.Xr ${tool}-")
foreach(reference IN LISTS references)
  string(REGEX REPLACE "^\\.Xr ${tool}-([^ ]+) .*" "\\1" command "${reference}")
  generate(man/man1/${tool}-${command}.1 --generate-manual-page ${command})
endforeach()

file(GLOB pages ${FOLDER}/man/man1/*.1)
foreach(page IN LISTS pages)
  file(ARCHIVE_CREATE OUTPUT ${page}.gz PATHS ${page} FORMAT raw COMPRESSION GZip COMPRESSION_LEVEL 9)
endforeach()
file(REMOVE ${pages})
