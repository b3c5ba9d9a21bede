# What `cmake --install` puts where: the backend, the tables, the Python client, the command.
#
#   libexec/orbitrax/qsolve           the backend
#   share/orbitrax/parameters         the tables
#   share/orbitrax/python             the client, with links to both of them
#   bin/orbitrax                      a link to what starts the client
#   share/man, share/bash-completion  written from the client itself

include(GNUInstallDirs)

set(home ${CMAKE_INSTALL_DATADIR}/orbitrax)
set(package ${home}/python/orbitrax)

install(TARGETS qsolve RUNTIME DESTINATION ${CMAKE_INSTALL_LIBEXECDIR}/orbitrax)
install(DIRECTORY parameters/ DESTINATION ${home}/parameters FILES_MATCHING PATTERN "*.abp")
install(PROGRAMS python/launch.py DESTINATION ${home}/python)
install(DIRECTORY python/orbitrax DESTINATION ${home}/python FILES_MATCHING
    PATTERN "*.py" PATTERN "py.typed" PATTERN "*.csv"
    PATTERN "*.js" PATTERN "*.html" PATTERN "*.css" PATTERN "*.svg" PATTERN "page" EXCLUDE
    PATTERN "__pycache__" EXCLUDE PATTERN "parameters" EXCLUDE PATTERN "programs" EXCLUDE)

# Links that hold wherever the prefix lies; an older one gives way.
set(data ${CMAKE_INSTALL_DATADIR})
file(RELATIVE_PATH to_backend /${package}/programs
    /${CMAKE_INSTALL_LIBEXECDIR}/orbitrax/qsolve)
file(RELATIVE_PATH to_launcher /${CMAKE_INSTALL_BINDIR} /${home}/python/launch.py)
install(CODE "
    set(prefix \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}\")
    file(MAKE_DIRECTORY \"\${prefix}/${package}/programs\" \"\${prefix}/${CMAKE_INSTALL_BINDIR}\")
    foreach(pair
            \"${to_backend}|${package}/programs/qsolve\"
            \"../../parameters|${package}/parameters\"
            \"${to_launcher}|${CMAKE_INSTALL_BINDIR}/orbitrax\")
        string(REPLACE \"|\" \";\" pair \"\${pair}\")
        list(GET pair 0 target)
        list(GET pair 1 name)
        file(REMOVE \"\${prefix}/\${name}\")
        file(CREATE_LINK \"\${target}\" \"\${prefix}/\${name}\" SYMBOLIC)
    endforeach()
    execute_process(COMMAND git -C \"${CMAKE_SOURCE_DIR}\" describe --always --dirty --abbrev=12
        OUTPUT_VARIABLE commit ERROR_QUIET RESULT_VARIABLE result)
    if(result EQUAL 0)
        file(WRITE \"\${prefix}/${package}/commit\" \"\${commit}\")
    endif()
    set(pages \"${CMAKE_BINARY_DIR}/pages\")
    execute_process(COMMAND /usr/bin/python3 \"${CMAKE_SOURCE_DIR}/packaging/write_pages.py\"
        \"\${pages}\" COMMAND_ERROR_IS_FATAL ANY)
    file(INSTALL DESTINATION \"\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_MANDIR}/man1\" TYPE FILE
        FILES \"\${pages}/orbitrax.1\")
    file(INSTALL DESTINATION \"\${CMAKE_INSTALL_PREFIX}/${data}/bash-completion/completions\"
        TYPE FILE FILES \"\${pages}/orbitrax.bash\" RENAME \"orbitrax\")
")
