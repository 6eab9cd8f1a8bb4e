nbi_bench(context_bench)
