<<<<<<< ours
int answer = 42;
=======
int answer = 43;
>>>>>>> theirs
