nbi_test(xml/xmltag_test.cpp)
