nbi_fuzz(fromhex)
nbi_fuzz(decrypt)
nbi_fuzz(rsaencrypt)
nbi_fuzz(catalogue)
