# Builds for another machine: what the tests need there, made from sources and headers that Debian installs here.

# Libraries that are headers alone hold for any machine. They are lent one by one: the rest of this machine's headers
# are no others'.
set(lent ${CMAKE_BINARY_DIR}/lent)
file(MAKE_DIRECTORY ${lent}/include)
foreach(library bitstream fmt)
  if(EXISTS /usr/include/${library})
    file(CREATE_LINK /usr/include/${library} ${lent}/include/${library} SYMBOLIC)
  endif()
endforeach()
list(APPEND CMAKE_FIND_ROOT_PATH ${lent})

list(APPEND CMAKE_MODULE_PATH ${CMAKE_SOURCE_DIR}/cmake/cross)
