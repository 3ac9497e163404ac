# cmake/stdcall-def.cmake: writes the module-definition file of the 32-bit Windows DLL.
#
# On 32-bit Windows the exported functions are __stdcall, whose symbols carry the argument size
# ("_device_open@8"). The .def file names each export with that decoration; the linker's --kill-at
# then exports the plain name ("device_open") while the import library keeps the decorated symbol,
# which is what a program compiled against the header asks for. The sizes are read from the symbol
# tables of the objects, so the file always matches the code.
#
# cmake -DNM=<nm> -DEXPORTS_FILE=<exports.list> -DOUTPUT=<file.def> -DOBJECTS=<obj;obj;...> -P stdcall-def.cmake
foreach(input NM EXPORTS_FILE OUTPUT OBJECTS)
  if(NOT DEFINED ${input})
    message(FATAL_ERROR "stdcall-def.cmake: ${input} is not set")
  endif()
endforeach()

execute_process(COMMAND ${NM} --defined-only --extern-only ${OBJECTS}
                OUTPUT_VARIABLE symbols RESULT_VARIABLE nm_result)
if(NOT nm_result EQUAL 0)
  message(FATAL_ERROR "stdcall-def.cmake: ${NM} failed (${nm_result})")
endif()

file(STRINGS ${EXPORTS_FILE} names REGEX "^[A-Za-z_][A-Za-z0-9_]*$")
set(lines "")
foreach(name IN LISTS names)
  # A text symbol "_<name>@<bytes>": the function is defined, and defined as __stdcall.
  string(REGEX MATCH "(^|\n)[0-9A-Fa-f]+ T _${name}@([0-9]+)(\n|$)" found "${symbols}")
  if(NOT found)
    message(FATAL_ERROR "stdcall-def.cmake: no __stdcall definition of '${name}' in the library's objects")
  endif()
  string(APPEND lines "  ${name}@${CMAKE_MATCH_2}\n")
endforeach()

file(WRITE ${OUTPUT}.tmp "LIBRARY vnr_32.dll\nEXPORTS\n${lines}")
file(COPY_FILE ${OUTPUT}.tmp ${OUTPUT} ONLY_IF_DIFFERENT)
file(REMOVE ${OUTPUT}.tmp)
