# shellcheck shell=bash
# Every order of steps of the models in models/, and each of their mistakes, which have to be found.

assure_models() { part models/run scripts/models run; }
