[playlist]
File2=http://b.example/
File1=http://a.example/
NumberOfEntries=2
