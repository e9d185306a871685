# The engine names libraries of which it uses nothing: a speech synthesizer's spare voices and lexicons. Linking them takes
# each of its three processes 22 of 80 ms, because one of the voices alone has 31,000 of the 72,000 symbols to be looked
# up. So its processes find empty libraries in their place (see TessaroThumbs/Starter/EngineEnvironment.cpp). Which ones
# they are is asked of the engine of the machine that builds, so nothing that an engine does use is ever taken away.
#
# Puts them into the folder `unused-libraries` beside the engine half, in the build and in an installation.
function(add_unused_engine_libraries)
  find_library(engine NAMES libwebkit2gtk-4.1.so.0 REQUIRED NO_CACHE)
  execute_process(COMMAND ldd --unused ${engine} OUTPUT_VARIABLE unused ERROR_QUIET) # its status counts them
  string(REGEX MATCHALL "libflite_[a-z0-9_]+\\.so\\.1" names "${unused}")
  set(folder ${CMAKE_RUNTIME_OUTPUT_DIRECTORY}/unused-libraries)
  foreach(name IN LISTS names)
    string(REGEX REPLACE "^lib(.*)\\.so\\.1$" "\\1" library ${name})
    add_library(unused_${library} MODULE ${PROJECT_SOURCE_DIR}/cmake/UnusedEngineLibrary.cpp)
    set_target_properties(unused_${library} PROPERTIES PREFIX "" OUTPUT_NAME ${name} SUFFIX ""
                                                       LIBRARY_OUTPUT_DIRECTORY ${folder})
    target_compile_options(unused_${library} PRIVATE -fno-sanitize=all)
    target_link_options(unused_${library} PRIVATE -nostdlib -fno-sanitize=all LINKER:-soname=${name})
    add_dependencies(helper unused_${library})
    add_dependencies(TessaroThumbsEngine unused_${library})
    install(TARGETS unused_${library} LIBRARY DESTINATION ${CMAKE_INSTALL_LIBEXECDIR}/tessaro-thumbs/unused-libraries
            COMPONENT programs)
  endforeach()
endfunction()
