nbi_fuzz(fdn)
nbi_fuzz(configedit)
