# What stands in, for the engine's processes, for things that they would load and have no use for. It lies in a folder
# `substitutes` beside the engine half, in the build and in an installation; TessaroThumbs/Starter/EngineEnvironment.cpp
# shows it to them.
#
# - Empty libraries in place of those that the engine names but uses nothing of: a speech synthesizer's spare voices and
#   lexicons. Linking them takes each of the engine's three processes 22 of 80 ms, because one of the voices alone has
#   31,000 of the 72,000 symbols to be looked up. Which ones they are is asked of the engine of the machine that builds,
#   so nothing that an engine does use is ever taken away.
# - A toolkit theme without a rule: reading a real one takes 20 ms, and there is nothing but the page to be drawn.
function(add_engine_substitutes)
  set(build_folder ${CMAKE_RUNTIME_OUTPUT_DIRECTORY}/substitutes)
  set(installed_folder ${CMAKE_INSTALL_LIBEXECDIR}/tessaro-thumbs/substitutes)
  find_library(engine NAMES libwebkit2gtk-4.1.so.0 REQUIRED NO_CACHE)
  execute_process(COMMAND ldd --unused ${engine} OUTPUT_VARIABLE unused ERROR_QUIET) # its status tells that there are any
  string(REGEX MATCHALL "libflite_[a-z0-9_]+\\.so\\.1" names "${unused}")
  foreach(name IN LISTS names)
    set(target empty_${name})
    add_library(${target} MODULE ${PROJECT_SOURCE_DIR}/cmake/EmptyLibrary.cpp)
    set_target_properties(${target} PROPERTIES PREFIX "" OUTPUT_NAME ${name} SUFFIX ""
                                               LIBRARY_OUTPUT_DIRECTORY ${build_folder})
    target_compile_options(${target} PRIVATE -fno-sanitize=all)
    target_link_options(${target} PRIVATE -nostdlib -fno-sanitize=all LINKER:-soname=${name})
    add_dependencies(TessaroThumbsEngine ${target})
    install(TARGETS ${target} LIBRARY DESTINATION ${installed_folder} COMPONENT programs)
  endforeach()
  set(theme share/themes/Plain/gtk-3.0)
  configure_file(${PROJECT_SOURCE_DIR}/TessaroThumbs/Engine/Plain.css ${build_folder}/${theme}/gtk.css COPYONLY)
  install(FILES ${build_folder}/${theme}/gtk.css DESTINATION ${installed_folder}/${theme} COMPONENT programs)
endfunction()
