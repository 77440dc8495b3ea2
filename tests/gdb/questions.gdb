set style enabled off
set width 0
set confirm off
set breakpoint pending on
break look
run
up
print nothing
print null
print yes
print small
print most
print ratio
print text
print data
print date
print point
print list
print dictionary
print set
print nested
print empty
print indexes
print error
print failure
print url
print constant
print timing
print version
print longVersion
print both
print counting
print object
print *reinterpret_cast<QVFoundation::Value*>(&garbage)
