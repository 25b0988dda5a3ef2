# Gets the page's libraries into page/node_modules with npm, unless they are there: cmake -D NPM=… -P.
# All build folders share them, so one build at a time looks; where all is there no network is asked.
set(page ${CMAKE_CURRENT_LIST_DIR}/../page)
set(got ${page}/node_modules/.package-lock.json)
file(LOCK ${page}/node_modules.lock GUARD PROCESS)

if(NOT EXISTS ${got} OR ${page}/package-lock.json IS_NEWER_THAN ${got}
    OR ${page}/package.json IS_NEWER_THAN ${got})
  execute_process(RESULT_VARIABLE failure WORKING_DIRECTORY ${page}
    COMMAND ${NPM} ci --ignore-scripts --prefer-offline --no-audit --no-fund --loglevel=error)
  if(failure)
    message(FATAL_ERROR "npm has not got the page's libraries, for which it needs a network. "
      "With -DKT_PAGE=OFF the program is built without its page.")
  endif()
  file(TOUCH ${got})
endif()
