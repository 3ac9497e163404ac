# cmake/embed-templates.cmake: writes the card face templates' pixels into a C++ source.
#   cmake -DINPUT=card_templates.cpp.in -DTEMPLATES=<folder of both.bmp, front.bmp, back.bmp>
#         -DOUTPUT=card_templates.cpp -P embed-templates.cmake
# Each BMP must be the 24-bit bottom-up picture the library expects, 343 pixels wide and 436 (both
# sides) or 215 (front, back) high, with the 54 bytes of plain headers; anything else stops the build.
# Only CMake itself runs, so the cross builds embed the same way as the native one.
cmake_minimum_required(VERSION 3.20)

foreach(var INPUT TEMPLATES OUTPUT)
  if(NOT DEFINED ${var})
    message(FATAL_ERROR "embed-templates: ${var} is not set")
  endif()
endforeach()

set(width 343)
set(header_bytes 54)
math(EXPR row_bytes "(${width} * 3 + 3) / 4 * 4")

# The little-endian unsigned field of `size` bytes at `offset` in the hex text `hex`, as a number.
function(field hex offset size out)
  set(value "")
  math(EXPR last "${size} - 1")
  foreach(i RANGE ${last})
    math(EXPR at "(${offset} + ${i}) * 2")
    string(SUBSTRING "${hex}" ${at} 2 byte)
    string(PREPEND value "${byte}")
  endforeach()
  math(EXPR value "0x${value}")
  set(${out} ${value} PARENT_SCOPE)
endfunction()

# Checks one BMP and sets <prefix>_BYTES to its pixel byte count and <prefix>_PIXELS to a string
# literal of its pixels, 64 bytes to a line.
function(embed file height prefix)
  set(path ${TEMPLATES}/${file})
  if(NOT EXISTS ${path})
    message(FATAL_ERROR "embed-templates: ${path} is missing")
  endif()
  math(EXPR pixel_bytes "${row_bytes} * ${height}")
  math(EXPR file_bytes "${header_bytes} + ${pixel_bytes}")
  file(SIZE ${path} actual_bytes)
  if(NOT actual_bytes EQUAL file_bytes)
    message(FATAL_ERROR "embed-templates: ${path} has ${actual_bytes} bytes, not ${file_bytes} "
                        "(${width} x ${height}, 24 bits)")
  endif()
  file(READ ${path} header LIMIT ${header_bytes} HEX)
  string(SUBSTRING "${header}" 0 4 magic)
  # magic "BM", file size, pixel offset, info header size, width, height (positive: bottom-up),
  # planes, bits per pixel, compression
  set(checks "0 2 0x4D42" "2 4 ${file_bytes}" "10 4 ${header_bytes}" "14 4 40" "18 4 ${width}"
             "22 4 ${height}" "26 2 1" "28 2 24" "30 4 0")
  foreach(check IN LISTS checks)
    separate_arguments(check)
    list(GET check 0 offset)
    list(GET check 1 size)
    list(GET check 2 expected)
    math(EXPR expected "${expected}")
    field("${header}" ${offset} ${size} value)
    if(NOT value EQUAL expected)
      message(FATAL_ERROR "embed-templates: ${path}: header field at byte ${offset} is ${value}, "
                          "not ${expected}")
    endif()
  endforeach()

  file(READ ${path} hex OFFSET ${header_bytes} HEX)
  string(REPEAT "[0-9a-f]" 128 line)
  string(REGEX REPLACE "(${line})" "\\1\n" hex "${hex}")
  string(REGEX REPLACE "([0-9a-f][0-9a-f])" "\\\\x\\1" literal "${hex}")
  string(REGEX REPLACE "\n$" "" literal "${literal}")
  string(REPLACE "\n" "\"\n    \"" literal "${literal}")
  set(${prefix}_BYTES ${pixel_bytes} PARENT_SCOPE)
  set(${prefix}_PIXELS "    \"${literal}\"" PARENT_SCOPE)
endfunction()

embed(both.bmp 436 BOTH_SIDES)
embed(front.bmp 215 FRONT)
embed(back.bmp 215 BACK)
configure_file(${INPUT} ${OUTPUT} @ONLY)
