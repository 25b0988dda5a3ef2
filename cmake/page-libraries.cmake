# Gets the libraries that page/package-lock.json names into page/node_modules, unless they are there:
# cmake -D NPM=… -D GOT=… -P. GOT, below node_modules, is what package-lock.json said then. All build
# folders share the libraries, so one build at a time looks; where all is there no network is asked.
set(page ${CMAKE_CURRENT_LIST_DIR}/../page)
set(wanted ${page}/package-lock.json)
file(LOCK ${page}/node_modules.lock GUARD PROCESS)

execute_process(COMMAND ${CMAKE_COMMAND} -E compare_files ${wanted} ${GOT}
  RESULT_VARIABLE difference ERROR_QUIET)
if(difference)
  file(REMOVE ${GOT})
  execute_process(RESULT_VARIABLE failure WORKING_DIRECTORY ${page}
    COMMAND ${NPM} ci --ignore-scripts --prefer-offline --no-audit --no-fund --loglevel=error)
  if(failure)
    message(FATAL_ERROR "npm has not got the page's libraries, for which it needs a network. "
      "With -DKT_PAGE=OFF the program is built without its page.")
  endif()
  file(COPY_FILE ${wanted} ${GOT})
endif()
if(${wanted} IS_NEWER_THAN ${GOT})
  file(TOUCH ${GOT})
endif()
