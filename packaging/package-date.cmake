# Dates of what is packed are the changelog's, so that the same sources make the same package.
if(NOT DEFINED ENV{SOURCE_DATE_EPOCH})
  execute_process(COMMAND dpkg-parsechangelog -l "${CMAKE_CURRENT_LIST_DIR}/changelog" -S Timestamp
    OUTPUT_VARIABLE timestamp OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
  set(ENV{SOURCE_DATE_EPOCH} "${timestamp}")
endif()
