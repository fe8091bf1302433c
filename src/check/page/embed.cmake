# Puts page.css and page.js into a C++ source, as they are.
#
#   cmake -D CSS=page.css -D JS=page.js -D OUT=page_look.cpp -P embed.cmake
set(text "#include \"src/check/page/look.h\"\n\nnamespace zelk::check::html {\n\n")
foreach(one css js)
  string(TOUPPER ${one} from)
  file(READ ${${from}} content)
  string(APPEND text
         "const std::string_view page_${one} = R\"~page~(${content})~page~\";\n\n")
endforeach()
file(WRITE ${OUT} "${text}}  // namespace zelk::check::html\n")
