# The first C++ block of `document` must be `program`, to the letter.
file(READ ${document} text)
file(READ ${program} code)
string(FIND "${text}" "```cpp\n${code}```\n" position)
if(position EQUAL -1)
    message(FATAL_ERROR "README.md does not show ${program} as it is: copy it there again")
endif()
