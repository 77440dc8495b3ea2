int lost() { return 1; }
