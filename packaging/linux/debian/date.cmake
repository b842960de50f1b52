# What is packaged bears the date of $SOURCE_DATE_EPOCH, else that of the last commit, else that of the changelog.
if(NOT DEFINED ENV{SOURCE_DATE_EPOCH})
  execute_process(COMMAND git -C ${CPACK_QUILLET_SOURCE} log -1 --format=%ct
                  OUTPUT_VARIABLE epoch OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
  if(NOT epoch)
    file(TIMESTAMP ${CPACK_QUILLET_SOURCE}/CHANGELOG.md epoch %s)
  endif()
  set(ENV{SOURCE_DATE_EPOCH} ${epoch})
endif()
