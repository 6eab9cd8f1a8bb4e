nbi_fuzz(str2int)
nbi_fuzz(ipstr2long)
nbi_fuzz(splitstringbytag)
nbi_fuzz(splitstringbyxmltag)
