nbi_fuzz(xmlfile)
nbi_fuzz(xmlbuffer)
nbi_fuzz(intlist)
nbi_fuzz(nestinglist)
