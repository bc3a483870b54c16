# Turns a table of manifest tag names (docs/manifest-tags.md) into the C source of vsr_tag_names.
#
#     cmake -D TABLE=names.tsv -D SOURCE=vsr_tag_names.c -P MakeTagNames.cmake
#
# A line of the table is a tag number, a tab and a name. The source is written only when every line is sound.
cmake_minimum_required(VERSION 3.25)

set(highest_tag 3008)

# The indentation keeps CMake from wrapping the text.
function(refuse why)
  message(FATAL_ERROR "  ${TABLE}:${line_number}: ${why}")
endfunction()

# Looks at the bytes before they are read as text, which would drop some and stop at others.
function(check_bytes)
  file(READ "${TABLE}" bytes HEX)
  string(REGEX REPLACE "(..)" "\\1 " bytes "${bytes}")
  string(REGEX MATCH "(0[0-8bcef]|1[0-9a-f]|7f|[89a-f][0-9a-f]) " bad "${bytes}")
  if(bad STREQUAL "")
    return()
  endif()
  string(FIND "${bytes}" "${bad}" position)
  string(SUBSTRING "${bytes}" 0 ${position} before)
  string(REGEX MATCHALL "0a " line_ends "${before}")
  list(LENGTH line_ends line_number)
  math(EXPR line_number "${line_number} + 1")
  string(STRIP "${bad}" bad)
  refuse("byte 0x${bad} is not a printable ASCII character")
endfunction()

function(check_tag tag)
  if(NOT tag MATCHES "^(0|[1-9][0-9]*)$")
    refuse("\"${tag}\" is not a tag number; write decimal digits without leading zeros")
  endif()
  string(LENGTH "${tag}" digits)
  if(digits GREATER 9 OR tag GREATER highest_tag)
    refuse("tag ${tag} is greater than ${highest_tag}")
  endif()
  if(DEFINED line_of_tag_${tag})
    refuse("tag ${tag} is already in line ${line_of_tag_${tag}}")
  endif()
endfunction()

function(check_name tag name)
  if(name MATCHES "\t|\r")
    refuse("a name cannot contain a tab or a carriage return")
  endif()
  string(TOLOWER "${name}" lower_name)
  if(lower_name STREQUAL "unknown")
    refuse("\"${name}\" is reserved for tags without a name")
  endif()
  if(name MATCHES "^Tag ")
    refuse("\"${name}\" begins with \"Tag \", which is reserved for tags without a name")
  endif()
  if(tag EQUAL 0)
    refuse("tag 0 has no name")
  endif()
  if(DEFINED line_of_name_${name_hash})
    refuse("the name \"${name}\" is already in line ${line_of_name_${name_hash}}")
  endif()
endfunction()

if(NOT EXISTS "${TABLE}" OR IS_DIRECTORY "${TABLE}")
  message(FATAL_ERROR "  ${TABLE}: there is no such file")
endif()
check_bytes()
file(READ "${TABLE}" rest)
string(REPLACE "\r\n" "\n" rest "${rest}\n")

set(line_number 0)
while(NOT rest STREQUAL "")
  math(EXPR line_number "${line_number} + 1")
  string(FIND "${rest}" "\n" line_end)
  string(SUBSTRING "${rest}" 0 ${line_end} line)
  math(EXPR next_line "${line_end} + 1")
  string(SUBSTRING "${rest}" ${next_line} -1 rest)
  if(line STREQUAL "")
    continue()
  endif()
  string(FIND "${line}" "\t" tab)
  if(tab EQUAL -1)
    refuse("no tab between tag number and name")
  endif()
  string(SUBSTRING "${line}" 0 ${tab} tag)
  math(EXPR name_start "${tab} + 1")
  string(SUBSTRING "${line}" ${name_start} -1 name)
  check_tag("${tag}")
  set(line_of_tag_${tag} ${line_number})
  if(name STREQUAL "")
    continue()
  endif()
  string(SHA256 name_hash "${name}")
  check_name("${tag}" "${name}")
  set(line_of_name_${name_hash} ${line_number})
  string(REGEX REPLACE "([\"?\\\\])" "\\\\\\1" name "${name}")
  string(APPEND rows "    [${tag}] = \"${name}\",\n")
endwhile()

file(
  WRITE "${SOURCE}"
  "/* Made by the build from the product's table of tag names. */
#include \"ManifestParser/TagNames.h\"

const char* const vsr_tag_names[kTagNameCount] = {
    [0] = 0, /* tag 0 has no name */
${rows}};
")
