# zspgen_expect_outputs(<dir> <file>...): the files the generator of <dir> must write, listed by name in
# <dir>/expected_outputs.txt (rewritten only when the list changes). The generator compares what it wrote
# with this list and fails on any difference, so the build never compiles a stale file or misses a new one.
function(zspgen_expect_outputs dir)
  set(names)
  foreach(path IN LISTS ARGN)
    get_filename_component(name ${path} NAME)
    list(APPEND names ${name})
  endforeach()
  list(JOIN names "\n" text)
  file(CONFIGURE OUTPUT ${dir}/expected_outputs.txt CONTENT "${text}\n")
endfunction()
