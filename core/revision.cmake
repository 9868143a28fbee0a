# Writes the build's revision number (the commit count of the checkout, 0 outside one) into OUTPUT,
# touching the file only when the number changed.
execute_process(COMMAND git -C ${SOURCE_DIR} rev-list --count HEAD
  OUTPUT_VARIABLE revision OUTPUT_STRIP_TRAILING_WHITESPACE RESULT_VARIABLE failed ERROR_QUIET)
if(failed OR NOT revision MATCHES "^[0-9]+$")
  set(revision 0)
endif()
set(content "#define ZSPGEN_REVISION ${revision}\n#define ZSPGEN_REVISION_TEXT \"${revision}\"\n")
if(EXISTS ${OUTPUT})
  file(READ ${OUTPUT} old)
endif()
if(NOT old STREQUAL content)
  file(WRITE ${OUTPUT} "${content}")
endif()
