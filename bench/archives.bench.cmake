nbi_bench(archives_bench)
