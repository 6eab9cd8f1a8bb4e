nbi_bench(xml_bench)
